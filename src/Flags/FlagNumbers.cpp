#include "Flags/FlagNumbers.h"

#include "Platform/Text/ShortText.h"
#include "Platform/Text/Text.h"

namespace kiv {

std::int64_t parseInt(std::string_view text, std::string_view defaultValue) {
    if (text == "0") {
        return 0;
    }
    const std::int64_t integer = readInteger(text);
    const bool whole = integer != 0 && static_cast<double>(integer) == readDouble(text);
    return whole ? integer : readInteger(defaultValue);
}

double parseDouble(std::string_view text, std::string_view defaultValue) {
    if (text == "0") {
        return 0;
    }
    const double value = checkDoubleFormat(text) ? readDouble(text) : 0;
    return value == 0 ? readDouble(defaultValue) : value;
}

bool checkDoubleFormat(std::string_view text) {
    const auto skipDigits = [&text] {
        const std::size_t end = text.find_first_not_of("0123456789");
        const std::size_t count = end == std::string_view::npos ? text.size() : end;
        text.remove_prefix(count);
        return count > 0;
    };
    if (text.starts_with('-')) {
        text.remove_prefix(1);
    }
    if (!skipDigits()) {
        return false;
    }
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        if (!skipDigits()) {
            return false;
        }
    }
    // A line break at the very end of the text is allowed.
    return text.empty() || text == "\n" || text == "\r" || text == "\r\n";
}

std::string_view normalizedBoolean(std::string_view value, std::string_view, std::string&) {
    return sameText(value, "true") ? "true" : "false";
}

std::string_view normalizedInteger(std::string_view value, std::string_view defaultValue, std::string& own) {
    return own = integerText(parseInt(value, defaultValue));
}

std::string_view normalizedDouble(std::string_view value, std::string_view defaultValue, std::string& own) {
    return own = doubleText(parseDouble(value, defaultValue));
}

} // namespace kiv
