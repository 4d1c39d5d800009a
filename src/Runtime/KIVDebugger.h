#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Platform/Text/Text.h"

/// The library's log: debug lines, written only when the application asked for them, and plain lines.

inline constexpr const char* KIVC_buildNumber = "588";

/// Debug lines are written. Set by each setup; read by every place that logs.
extern std::atomic<bool> kivDebuggerVerbose;

/// Replaces the names of the source units (the last component of a path) whose debug lines are left out.
void setKivDebuggerDisableByFile(const std::vector<std::string>& units);

namespace kiv {

inline std::string logText(std::string_view text) { return std::string(text); }
inline std::string logText(const char* text) { return text ? text : "(null)"; }
inline std::string logText(const std::string& text) { return text; }
inline std::string logText(bool value) { return value ? "1" : "0"; }
inline std::string logText(double value) { return doubleText(value); }
template <class T>
requires std::is_integral_v<T> std::string logText(T value) { return std::to_string(value); }

/// The pattern with each placeholder ("%@", "%s", "%d", "%u", "%ld", "%lu") replaced by the next argument.
std::string formatted(std::string_view pattern, const std::vector<std::string>& arguments);

template <class... Arguments>
std::string format(std::string_view pattern, const Arguments&... arguments) {
    return formatted(pattern, {logText(arguments)...});
}

/// True when debug lines are written and this unit's are not left out.
bool debugLogEnabled(std::string_view path);

/// Writes "KIV SDK(build 588):unit:method:line - message" to the host's log sink.
void writeDebugLog(std::string_view path, std::string_view method, int line, const std::string& message);

/// Writes a line whatever the debug switches say.
void plainLog(const std::string& message);

} // namespace kiv

/// A debug line: a pattern with placeholders, then its arguments, which are evaluated only when the line is
/// written.
#define KIV_DEBUG_LOG(...)                                                                                   \
    do {                                                                                                     \
        if (kivDebuggerVerbose.load(std::memory_order_relaxed) && kiv::debugLogEnabled(__FILE__)) {          \
            kiv::writeDebugLog(__FILE__, __func__, __LINE__, kiv::format(__VA_ARGS__));                      \
        }                                                                                                    \
    } while (false)
