#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

namespace kiv::tool {

/// Writes the lines of a shell: answers, and events between them. Callable from any thread. Each line is
/// written whole and flushed.
class ShellOutput {
public:
    void answer(const json::object& line);

    /// Writes the event: "event" with its name, then its fields.
    void event(std::string_view name, json::object fields);

    /// Waits until an event with this name is written; returns at once when one was written since the last
    /// call for that name. False when none came within `atMost`.
    bool waitFor(std::string_view name, std::chrono::duration<double> atMost);

    /// From now on, events are dropped.
    void close();

private:
    static void write(const json::object& line);

    std::mutex lock_;
    std::condition_variable arrived_;
    std::map<std::string, bool, std::less<>> hasArrived_; ///< by event, since the last wait for it
    bool isClosed_ = false;
};

} // namespace kiv::tool
