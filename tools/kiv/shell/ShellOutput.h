#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

namespace kiv::tool {

/// The lines that a shell writes: answers, and events between them. Callable from any thread; each line is
/// written whole and at once.
class ShellOutput {
public:
    void answer(const json::object& line);

    /// Writes the event with its name before its fields.
    void event(std::string_view name, json::object fields);

    /// Waits until such an event has been written since the last wait for it. False when the time is over.
    bool waitFor(std::string_view name, std::chrono::duration<double> atMost);

    /// Drops all events from now on.
    void close();

private:
    static void write(const json::object& line);

    std::mutex lock_;
    std::condition_variable arrived_;
    std::map<std::string, bool, std::less<>> hasArrived_; ///< since the last wait for it
    bool isClosed_ = false;
};

} // namespace kiv::tool
