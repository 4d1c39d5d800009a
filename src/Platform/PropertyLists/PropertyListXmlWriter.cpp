#include "Platform/PropertyLists/PropertyListXmlWriter.h"

#include <cmath>

#include "Platform/PropertyLists/PropertyListLimits.h"
#include "Platform/Text/Text.h"

namespace kiv {
namespace {

class XmlWriter {
public:
    template <class Top>
    std::string write(const Top& top) {
        text_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
        add(top);
        text_ += "</plist>\n";
        return fits_ && memory_ <= propertyListMemory && text_.size() <= propertyListMemory ? std::move(text_)
                                                                                            : std::string();
    }

private:
    void add(const json::object& dictionary) {
        addContainer("dict", dictionary, [this](const json::key_value_pair& pair) {
            if (!pair.value().is_null()) {
                addText("key", pair.key());
                add(pair.value());
            }
        });
    }

    void add(const json::array& array) {
        addContainer("array", array, [this](const json::value& element) { add(element); });
    }

    void add(std::string_view text) { addText("string", text); }

    void add(const json::value& value) {
        switch (value.kind()) {
        case json::kind::null:
            break;
        case json::kind::bool_:
            addLine(value.get_bool() ? "<true/>" : "<false/>");
            break;
        case json::kind::int64:
            addLine("<integer>" + integerText(value.get_int64()) + "</integer>");
            break;
        case json::kind::uint64:
            addLine("<integer>" + std::to_string(value.get_uint64()) + "</integer>");
            break;
        case json::kind::double_:
            addLine("<real>" + realText(value.get_double()) + "</real>");
            break;
        case json::kind::string:
            add(std::string_view(value.get_string()));
            break;
        case json::kind::array:
            add(value.get_array());
            break;
        case json::kind::object:
            add(value.get_object());
            break;
        }
    }

    template <class Container, class Add>
    void addContainer(const std::string& name, const Container& members, const Add& addMember) {
        fits_ = fits_ && depth_ < propertyListDepth && memory_ <= propertyListMemory;
        if (!fits_) {
            return;
        }
        addLine("<" + name + ">");
        ++depth_;
        for (const auto& each : members) {
            addMember(each);
        }
        --depth_;
        text_.append("</").append(name).append(">\n");
    }

    void addText(std::string_view name, std::string_view text) {
        text_.append("<").append(name).append(">");
        const std::size_t start = text_.size();
        if (isValidUtf8(text)) {
            addEscaped(text);
        } else {
            addEscaped(repairUtf8(text));
        }
        memory_ += propertyListValueMemory + 2 * (text_.size() - start);
        text_.append("</").append(name).append(">\n");
    }

    void addLine(std::string_view line) {
        memory_ += propertyListValueMemory + 2 * line.size();
        text_.append(line).append("\n");
    }

    void addEscaped(std::string_view text) {
        std::size_t plain = 0;
        for (std::size_t at = 0; at < text.size(); ++at) {
            const std::string_view escape = escapeOf(text.substr(at));
            if (!escape.empty()) {
                text_.append(text.substr(plain, at - plain)).append(escape);
                at += text[at] == nonCharacters[0] ? nonCharacters.size() : 0;
                plain = at + 1;
            }
        }
        text_ += text.substr(plain);
    }

    /// The replacement for the first character of the text; empty when the character stays.
    static std::string_view escapeOf(std::string_view text) {
        const char c = text[0];
        if (c == '&') {
            return "&amp;";
        }
        if (c == '<') {
            return "&lt;";
        }
        if (c == '>') {
            return "&gt;";
        }
        if (c == '\r') {
            return "&#13;"; // XML parsers turn an unescaped carriage return into a line feed
        }
        const bool isControl = static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t';
        const bool isNonCharacter = text.starts_with(nonCharacters) && text.size() > 2 && text[2] >= '\xBE';
        return isControl || isNonCharacter ? "\uFFFD" : "";
    }

    static std::string realText(double value) {
        if (std::isfinite(value)) {
            return doubleText(value);
        }
        return std::isnan(value) ? "nan" : value < 0 ? "-infinity" : "+infinity";
    }

    /// The first two bytes of U+FFFE and U+FFFF.
    static constexpr std::string_view nonCharacters = "\xEF\xBF";

    std::string text_;
    std::size_t depth_ = 0;
    std::size_t memory_ = 0; ///< at least the sum that a reader of the list counts
    bool fits_ = true;
};

} // namespace

std::string encodeXmlPropertyList(const json::object& dictionary) { return XmlWriter().write(dictionary); }
std::string encodeXmlPropertyList(const json::array& array) { return XmlWriter().write(array); }
std::string encodeXmlPropertyList(std::string_view text) { return XmlWriter().write(text); }

} // namespace kiv
