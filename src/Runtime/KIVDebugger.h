#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Platform/Text/Text.h"

/// The library's log: debug lines, written only when the application asked for them, and plain lines.

inline constexpr const char* KIVC_buildNumber = "588";

/// Whether debug lines are written. Each setup sets it; every place that logs reads it.
extern std::atomic<bool> kivDebuggerVerbose;

/// Sets which source units' debug lines are left out, in place of those set before. A unit is named by its
/// file name without the folder, for example "KivxParser.cpp".
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

/// Whether the debug lines of a source unit are left out; `path` is the unit's `__FILE__`.
bool isSilenced(std::string_view path);

/// Whether a source unit writes debug lines; `path` is the unit's `__FILE__`.
inline bool debugLogEnabled(std::string_view path) {
    return kivDebuggerVerbose.load(std::memory_order_relaxed) && !isSilenced(path);
}

/// Writes "KIV SDK(build 588):unit:method:line - message" to the host's log sink.
void writeDebugLog(std::string_view path, std::string_view method, int line, const std::string& message);

/// Writes a line to the host's log sink, also while debug lines are off.
void plainLog(const std::string& message);

} // namespace kiv

/// Writes a debug line: a pattern for `kiv::format`, then its arguments, which are evaluated only when the
/// line is written.
#define KIV_DEBUG_LOG(...)                                                                                   \
    do {                                                                                                     \
        if (kiv::debugLogEnabled(__FILE__)) {                                                                \
            kiv::writeDebugLog(__FILE__, __func__, __LINE__, kiv::format(__VA_ARGS__));                      \
        }                                                                                                    \
    } while (false)
