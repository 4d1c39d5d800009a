#include "Platform/Text/Json.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/json/value_stack.hpp>

#include "Platform/Text/Text.h"

namespace kiv {
namespace {

/// Builds a document as Boost.JSON's own parser does, except that each double is the one nearest to its text;
/// the double that Boost.JSON reads can differ in the last bits.
class DocumentBuilder {
public:
    static constexpr std::size_t max_object_size = json::object::max_size();
    static constexpr std::size_t max_array_size = json::array::max_size();
    static constexpr std::size_t max_key_size = json::string::max_size();
    static constexpr std::size_t max_string_size = json::string::max_size();

    DocumentBuilder(json::storage_ptr storage, std::size_t mostValues)
        : left_(mostValues), stack_({}, buffer_.data(), buffer_.size()) {
        stack_.reset(std::move(storage));
    }

    json::value release() { return stack_.release(); }

    bool on_document_begin(json::error_code&) { return true; }
    bool on_document_end(json::error_code&) { return true; }
    bool on_object_begin(json::error_code& error) { return count(error); }
    bool on_array_begin(json::error_code& error) { return count(error); }
    bool on_number_part(json::string_view, json::error_code&) { return true; }
    bool on_comment_part(json::string_view, json::error_code&) { return true; }
    bool on_comment(json::string_view, json::error_code&) { return true; }

    bool on_object_end(std::size_t size, json::error_code&) { return stack_.push_object(size), true; }
    bool on_array_end(std::size_t size, json::error_code&) { return stack_.push_array(size), true; }
    bool on_key_part(json::string_view part, std::size_t, json::error_code&) {
        return stack_.push_chars(part), true;
    }
    bool on_key(json::string_view last, std::size_t, json::error_code& error) {
        return stack_.push_key(last), count(error);
    }
    bool on_string_part(json::string_view part, std::size_t, json::error_code&) {
        return stack_.push_chars(part), true;
    }
    bool on_string(json::string_view last, std::size_t, json::error_code& error) {
        return stack_.push_string(last), count(error);
    }
    bool on_int64(std::int64_t value, json::string_view, json::error_code& error) {
        return stack_.push_int64(value), count(error);
    }
    bool on_uint64(std::uint64_t value, json::string_view, json::error_code& error) {
        return stack_.push_uint64(value), count(error);
    }
    bool on_double(double, json::string_view text, json::error_code& error) {
        return stack_.push_double(readDouble(text)), count(error);
    }
    bool on_bool(bool value, json::error_code& error) { return stack_.push_bool(value), count(error); }
    bool on_null(json::error_code& error) { return stack_.push_null(), count(error); }

    bool hasTooManyValues() const { return hasTooMany_; }

private:
    bool count(json::error_code& error) {
        if (left_ > 0) {
            --left_;
            return true;
        }
        hasTooMany_ = true;
        error = json::error::exception;
        return false;
    }

    std::size_t left_; ///< how many more values the document may have
    bool hasTooMany_ = false;
    /// Enough for small documents, so that the stack allocates nothing. The stack makes values in it.
    alignas(json::value) std::array<unsigned char, 2048> buffer_;
    json::value_stack stack_;
};

/// Writes documents. Recursive: a level of nesting costs little more than a hundred bytes of stack.
class DocumentWriter {
public:
    explicit DocumentWriter(bool pretty) : pretty_(pretty) {}

    std::string write(const json::value& document) {
        writeValue(document);
        return std::move(text_);
    }

private:
    void writeValue(const json::value& value) {
        switch (value.kind()) {
        case json::kind::null:
            text_ += "null";
            break;
        case json::kind::bool_:
            text_ += value.get_bool() ? "true" : "false";
            break;
        case json::kind::int64:
            text_ += integerText(value.get_int64());
            break;
        case json::kind::uint64:
            text_ += std::to_string(value.get_uint64());
            break;
        case json::kind::double_:
            text_ += std::isfinite(value.get_double()) ? doubleText(value.get_double()) : "null";
            break;
        case json::kind::string:
            writeString(value.get_string());
            break;
        case json::kind::array:
            writeMembers('[', value.get_array(), ']',
                         [this](const json::value& element) { writeValue(element); });
            break;
        case json::kind::object:
            writeMembers('{', value.get_object(), '}', [this](const json::key_value_pair& pair) {
                writeString(pair.key());
                text_ += pretty_ ? " : " : ":";
                writeValue(pair.value());
            });
            break;
        }
    }

    template <class Container, class Write>
    void writeMembers(char open, const Container& members, char close, const Write& write) {
        text_ += open;
        if (!members.empty()) {
            ++depth_;
            bool first = true;
            for (const auto& each : members) {
                text_ += first ? "" : ",";
                first = false;
                breakLine();
                write(each);
            }
            --depth_;
            breakLine();
        }
        text_ += close;
    }

    void breakLine() {
        if (pretty_) {
            text_ += '\n';
            text_.append(2 * depth_, ' ');
        }
    }

    void writeString(std::string_view string) {
        text_ += '"';
        if (isValidUtf8(string)) {
            writeEscaped(string);
        } else {
            writeEscaped(repairUtf8(string));
        }
        text_ += '"';
    }

    void writeEscaped(std::string_view string) {
        std::size_t plain = 0;
        for (std::size_t at = 0; at < string.size(); ++at) {
            if (static_cast<unsigned char>(string[at]) < 0x20 || string[at] == '"' || string[at] == '\\') {
                text_ += string.substr(plain, at - plain);
                writeEscape(string[at]);
                plain = at + 1;
            }
        }
        text_ += string.substr(plain);
    }

    void writeEscape(char c) {
        static constexpr std::string_view special = "\"\\\b\f\n\r\t";
        static constexpr std::string_view letters = "\"\\bfnrt";
        static constexpr std::string_view digits = "0123456789abcdef";
        text_ += '\\';
        if (const std::size_t at = special.find(c); at != special.npos) {
            text_ += letters[at];
        } else {
            text_ += "u00";
            text_ += digits[static_cast<unsigned char>(c) >> 4U];
            text_ += digits[static_cast<unsigned char>(c) & 15U];
        }
    }

    const bool pretty_;
    std::size_t depth_ = 0;
    std::string text_;
};

bool isNumber(const json::value& value) { return value.is_number() || value.is_bool(); }

/// A whole number from the smallest signed to the largest unsigned 64-bit integer, as two's complement.
struct Whole {
    bool negative;
    std::uint64_t bits;

    bool operator==(const Whole&) const = default;
};

std::optional<Whole> whole(const json::value& number) {
    switch (number.kind()) {
    case json::kind::bool_:
        return Whole{false, number.get_bool() ? 1U : 0U};
    case json::kind::int64:
        return Whole{number.get_int64() < 0, static_cast<std::uint64_t>(number.get_int64())};
    case json::kind::uint64:
        return Whole{false, number.get_uint64()};
    default:
        break;
    }
    const double value = number.get_double();
    if (value != std::trunc(value) || value < -0x1p63 || value >= 0x1p64) {
        return std::nullopt;
    }
    return value < 0 ? Whole{true, static_cast<std::uint64_t>(static_cast<std::int64_t>(value))}
                     : Whole{false, static_cast<std::uint64_t>(value)};
}

bool equalNumbers(const json::value& a, const json::value& b) {
    if (a.is_double() && b.is_double()) {
        return a.get_double() == b.get_double();
    }
    const std::optional<Whole> wholeA = whole(a);
    return wholeA && wholeA == whole(b);
}

bool equalArrays(const json::array& a, const json::array& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (!equalJson(a[i], b[i])) {
            return false;
        }
    }
    return true;
}

bool equalObjects(const json::object& a, const json::object& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (const json::key_value_pair& pair : a) {
        const json::value* other = b.if_contains(pair.key());
        if (!other || !equalJson(pair.value(), *other)) {
            return false;
        }
    }
    return true;
}

std::optional<json::value> failure(std::string* error, const std::string& what, std::size_t at) {
    if (error) {
        *error = what + " at byte " + std::to_string(at);
    }
    return std::nullopt;
}

} // namespace

std::optional<json::value> parseJson(std::string_view text, std::string* error, json::storage_ptr storage,
                                     std::size_t mostValues) {
    if (text.size() > maxJsonBytes) {
        return failure(error, "document too large", maxJsonBytes);
    }
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    json::parse_options options;
    options.max_depth = maxJsonDepth;
    json::basic_parser<DocumentBuilder> parser(options, std::move(storage), mostValues);
    json::error_code code;
    const std::size_t parsed = parser.write_some(false, text.data(), text.size(), code);
    if (code) {
        const bool hasTooMany = parser.handler().hasTooManyValues();
        return failure(error,
                       hasTooMany ? "more than " + std::to_string(mostValues) + " values" : code.message(),
                       parsed);
    }
    if (parsed < text.size()) {
        return failure(error, "text after the document", parsed);
    }
    json::value document = parser.handler().release();
    if (!document.is_structured()) {
        return failure(error, "neither an object nor an array", 0);
    }
    return document;
}

std::string prettyJson(const json::value& document) { return DocumentWriter(true).write(document); }

std::string compactJson(const json::value& document) { return DocumentWriter(false).write(document); }

bool isJson(const json::value& document) {
    if (const json::object* object = document.if_object()) {
        return std::ranges::all_of(*object, [](const auto& pair) { return isJson(pair.value()); });
    }
    if (const json::array* array = document.if_array()) {
        return std::ranges::all_of(*array, isJson);
    }
    return !document.is_double() || std::isfinite(document.get_double());
}

bool equalJson(const json::value& a, const json::value& b) {
    if (isNumber(a)) {
        return isNumber(b) && equalNumbers(a, b);
    }
    if (a.kind() != b.kind()) {
        return false;
    }
    switch (a.kind()) {
    case json::kind::string:
        return a.get_string() == b.get_string();
    case json::kind::array:
        return equalArrays(a.get_array(), b.get_array());
    case json::kind::object:
        return equalObjects(a.get_object(), b.get_object());
    default:
        return true;
    }
}

const json::value* member(const json::value& object, std::string_view name) {
    const json::object* members = object.if_object();
    return members ? member(*members, name) : nullptr;
}

const json::value* member(const json::object& object, std::string_view name) {
    return object.if_contains(name);
}

const json::string* textMember(const json::value& object, std::string_view name) {
    const json::object* members = object.if_object();
    return members ? textMember(*members, name) : nullptr;
}

const json::string* textMember(const json::object& object, std::string_view name) {
    const json::value* value = member(object, name);
    return value ? value->if_string() : nullptr;
}

const json::object* objectMember(const json::object& object, std::string_view name) {
    const json::value* value = member(object, name);
    return value ? value->if_object() : nullptr;
}

const json::array* arrayMember(const json::value& object, std::string_view name) {
    const json::object* members = object.if_object();
    return members ? arrayMember(*members, name) : nullptr;
}

const json::array* arrayMember(const json::object& object, std::string_view name) {
    const json::value* value = member(object, name);
    return value ? value->if_array() : nullptr;
}

std::optional<std::size_t> approximateSize(const json::value& value, std::size_t maxDepth) {
    constexpr std::size_t ofEach = 32;
    if (const json::object* object = value.if_object()) {
        const auto members = approximateSize(*object, maxDepth);
        return members ? std::optional(ofEach + *members) : std::nullopt;
    }
    std::size_t size = ofEach;
    if (const json::string* text = value.if_string()) {
        size += text->size();
    } else if (const json::array* array = value.if_array()) {
        for (const json::value& element : *array) {
            const auto own = maxDepth > 0 ? approximateSize(element, maxDepth - 1) : std::nullopt;
            if (!own) {
                return std::nullopt;
            }
            size += *own;
        }
    }
    return size;
}

std::optional<std::size_t> approximateSize(const json::object& object, std::size_t maxDepth) {
    constexpr std::size_t ofKey = 16;
    std::size_t size = 0;
    for (const json::key_value_pair& pair : object) {
        const auto own = maxDepth > 0 ? approximateSize(pair.value(), maxDepth - 1) : std::nullopt;
        if (!own) {
            return std::nullopt;
        }
        size += ofKey + pair.key().size() + *own;
    }
    return size;
}

} // namespace kiv
