#include "Columns.h"

#include <array>
#include <cstdio>

#include "Terminal.h"

namespace kiv::tool {

std::string paddedLeft(const std::string& text, std::size_t width) {
    const std::size_t own = displayWidth(text);
    return std::string(own < width ? width - own : 0, ' ') + text;
}

std::string percent(double part) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%6.2f %%", 100 * part);
    return text.data();
}

std::string bar(double part, std::size_t width) {
    constexpr std::array ends{"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    const auto eighths = static_cast<std::size_t>(part * static_cast<double>(8 * width) + 0.5);
    std::string text;
    for (std::size_t full = 0; full < eighths / 8; ++full) {
        text += "█";
    }
    text += ends.at(eighths % 8);
    return text.empty() && part > 0 ? ends.at(1) : text;
}

std::string csvField(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == text.npos) {
        return std::string(text);
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + "\"";
}

} // namespace kiv::tool
