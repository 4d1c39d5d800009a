#include "KivxLanguage/Values/KivxDescription.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Platform/Text/Dates.h"
#include "Platform/Text/Text.h"

namespace kiv {
namespace {

constexpr std::size_t longestShort = 1'000; ///< bytes

void appendAtMost(std::string& out, std::string_view text, std::size_t most) {
    out += text.substr(0, most - std::min(out.size(), most));
}

} // namespace

void describe(const KivxValue& value, std::string& out, std::size_t most) {
    using Kind = KivxValue::Kind;
    switch (value.kind()) {
    case Kind::none:
        out += "(null)";
        return;
    case Kind::undefined:
        out += "<null>";
        return;
    case Kind::boolean:
        out += value.boolValue() ? '1' : '0';
        return;
    case Kind::integer:
        out += integerText(*value.integer());
        return;
    case Kind::real:
        out += doubleText(*value.real());
        return;
    case Kind::string:
        appendAtMost(out, *value.text(), most);
        return;
    case Kind::date:
        out += dateText(*value.date());
        return;
    case Kind::array:
    case Kind::dictionary:
        break;
    }
    const char* separator = "";
    const auto elements = value.elements();
    out += elements ? '[' : '{';
    if (elements) {
        for (const KivxValue& element : *elements) {
            if (out.size() > most) {
                return;
            }
            out += std::exchange(separator, ", ");
            describe(element, out, most);
        }
    } else {
        for (const auto& [key, member] : *value.dictionary()) {
            if (out.size() > most) {
                return;
            }
            out += std::exchange(separator, ", ");
            describe(key, out, most);
            out += ": ";
            describe(member, out, most);
        }
    }
    out += elements ? ']' : '}';
}

std::string shortDescription(const KivxValue& value) {
    std::string text;
    describe(value, text, longestShort + 1);
    if (text.size() > longestShort) {
        // The cut may be inside a character.
        text = repairUtf8(std::string_view(text).substr(0, longestShort)) + "\u2026";
    }
    return text;
}

} // namespace kiv
