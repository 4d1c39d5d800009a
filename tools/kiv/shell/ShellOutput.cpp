#include "shell/ShellOutput.h"

#include <iostream>
#include <utility>

#include "evaluate/ValueText.h"

namespace kiv::tool {

void ShellOutput::write(const json::object& line) { std::cout << compactJson(line) + "\n" << std::flush; }

void ShellOutput::answer(const json::object& line) {
    const std::lock_guard lock(lock_);
    write(line);
}

void ShellOutput::event(std::string_view name, json::object fields) {
    json::object line{{"event", name}};
    append(line, std::move(fields));
    const std::lock_guard lock(lock_);
    if (isClosed_) {
        return;
    }
    write(line);
    hasArrived_.insert_or_assign(std::string(name), true);
    arrived_.notify_all();
}

bool ShellOutput::waitFor(std::string_view name, std::chrono::duration<double> atMost) {
    std::unique_lock lock(lock_);
    bool& hasArrived = hasArrived_[std::string(name)];
    arrived_.wait_for(lock, atMost, [&hasArrived] { return hasArrived; });
    return std::exchange(hasArrived, false);
}

void ShellOutput::close() {
    const std::lock_guard lock(lock_);
    isClosed_ = true;
}

} // namespace kiv::tool
