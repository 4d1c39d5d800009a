#include "serve/Journal.h"

#include <ctime>
#include <iostream>

namespace kiv::tool {
namespace {

std::string timeOfDay() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[16];
    return {text, std::strftime(text, sizeof text, "%H:%M:%S", &local)};
}

Terminal::Style styleOf(unsigned status) {
    constexpr unsigned firstClientError = 400;
    constexpr unsigned notFound = 404; // ordinary: the application then asks elsewhere
    if (status < firstClientError) {
        return Terminal::Style::good;
    }
    return status == notFound ? Terminal::Style::warning : Terminal::Style::error;
}

} // namespace

void Journal::answered(const HttpAnswer& answer, std::string_view what, std::string_view key) const {
    if (isQuiet_) {
        return;
    }
    constexpr std::size_t widthOfWhat = 17;
    std::string line = terminal_.styled(styleOf(answer.status), std::to_string(answer.status)) + "  " +
                       padded(printable(what), widthOfWhat);
    if (!key.empty()) {
        line += "  " + std::string(key);
    }
    if (!answer.note.empty()) {
        line += "  " + printable(answer.note);
    }
    write(line);
}

void Journal::told(Terminal::Style style, std::string_view text) const {
    const bool isUrgent = style == Terminal::Style::error || style == Terminal::Style::warning;
    if (isUrgent || !isQuiet_) {
        write(terminal_.styled(style, text));
    }
}

void Journal::write(std::string_view line) const {
    // One write for the whole line: standard error has no buffer, and other programs may write to it.
    std::cerr << terminal_.styled(Terminal::Style::quiet, timeOfDay()) + "  " + std::string(line) + "\n";
}

} // namespace kiv::tool
