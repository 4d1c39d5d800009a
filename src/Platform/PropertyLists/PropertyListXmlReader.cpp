#include "Platform/PropertyLists/PropertyListXmlReader.h"

#include <charconv>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include <expat.h>

#include "Platform/PropertyLists/PropertyListLimits.h"
#include "Platform/Text/Text.h"

namespace kiv {
namespace {

template <class Number, class... Format>
std::optional<json::value> numberOf(std::string_view text, Format... format) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, format...);
    return error == std::errc() && stop == end ? std::optional<json::value>(number) : std::nullopt;
}

std::optional<json::value> integerOf(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with("0x")) {
        return numberOf<std::uint64_t>(text.substr(2), 16);
    }
    auto integer = numberOf<std::int64_t>(text);
    return integer ? integer : numberOf<std::uint64_t>(text);
}

std::optional<json::value> realOf(std::string_view text) {
    text = trimmed(text);
    const bool hasPlus = text.starts_with('+') && !text.starts_with("+-");
    return numberOf<double>(text.substr(hasPlus ? 1 : 0));
}

/// Builds the values of a list while the parser reports its elements.
class XmlReader {
public:
    std::optional<json::value> read(std::string_view bytes) {
        const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
            XML_ParserCreate(nullptr), XML_ParserFree);
        if (!parser) {
            return std::nullopt;
        }
        parser_ = parser.get();
        XML_SetUserData(parser_, this);
        XML_SetElementHandler(parser_, onBegin, onEnd);
        XML_SetCharacterDataHandler(parser_, onText);
        XML_SetEntityDeclHandler(parser_, onEntity);
        const auto status = XML_Parse(parser_, bytes.data(), static_cast<int>(bytes.size()), XML_TRUE);
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        return status == XML_STATUS_OK ? std::move(top_) : std::nullopt;
    }

private:
    /// An array or dictionary whose end tag has not been read.
    struct Open {
        json::value container;
        std::optional<std::string> key; ///< of the next member; nullopt until it has been read
    };

    static void onBegin(void* self, const XML_Char* name, const XML_Char**) {
        static_cast<XmlReader*>(self)->run([name](XmlReader& own) { return own.begin(name); });
    }
    static void onEnd(void* self, const XML_Char* name) {
        static_cast<XmlReader*>(self)->run([name](XmlReader& own) { return own.end(name); });
    }
    static void onText(void* self, const XML_Char* text, int size) {
        const std::string_view part(text, static_cast<std::size_t>(size));
        static_cast<XmlReader*>(self)->run([part](XmlReader& own) { return own.addText(part); });
    }
    /// A list that declares entities is refused: they can expand to far more text than the list has bytes.
    static void onEntity(void* self, const XML_Char*, int, const XML_Char*, int, const XML_Char*,
                         const XML_Char*, const XML_Char*, const XML_Char*) {
        static_cast<XmlReader*>(self)->run([](XmlReader&) { return false; });
    }

    /// Calls `step`, and stops the parser when it returns false or throws. The parser is written in C, so
    /// this function keeps the exception, and `read` throws it again after the parser has returned.
    template <class Step>
    void run(Step step) noexcept {
        if (hasStopped_) {
            return;
        }
        try {
            hasStopped_ = !step(*this);
        } catch (...) {
            failure_ = std::current_exception();
            hasStopped_ = true;
        }
        if (hasStopped_) {
            XML_StopParser(parser_, XML_FALSE);
        }
    }

    bool begin(std::string_view name) {
        if (!isInList_) {
            isInList_ = name == "plist";
            return isInList_;
        }
        if (isInText_ || !mayBegin(name)) {
            return false;
        }
        if (name == "dict" || name == "array") {
            path_.push_back({name == "dict" ? json::value(json::object()) : json::value(json::array()), {}});
            return path_.size() <= propertyListDepth && count(0);
        }
        isInText_ = true;
        text_.clear();
        return true;
    }

    /// Whether an element of that name may begin here. In a dictionary, keys and values take turns. At the
    /// top there is one value.
    bool mayBegin(std::string_view name) const {
        if (path_.empty()) {
            return !hasTop_ && name != "key";
        }
        const Open& open = path_.back();
        return (name == "key") == (open.container.is_object() && !open.key);
    }

    bool addText(std::string_view part) {
        if (isInText_) {
            text_ += part;
            return true;
        }
        return trimmed(part).empty();
    }

    bool end(std::string_view name) {
        if (isInText_) {
            isInText_ = false;
            return count(2 * text_.size()) && endText(name);
        }
        if (path_.empty()) {
            return true; // the end of <plist>
        }
        Open open = std::move(path_.back());
        path_.pop_back();
        return !open.key && add(std::move(open.container));
    }

    bool endText(std::string_view name) {
        if (name == "key") {
            path_.back().key = std::exchange(text_, {});
            return true;
        }
        if (name == "string") {
            return add(json::value(text_));
        }
        if (name == "integer") {
            return add(integerOf(text_));
        }
        if (name == "real") {
            return add(realOf(text_));
        }
        if (name == "true" || name == "false") {
            return text_.empty() && add(json::value(name == "true"));
        }
        return (name == "date" || name == "data") && finishValue();
    }

    bool add(std::optional<json::value> value) {
        if (!value) {
            return false;
        }
        if (path_.empty()) {
            top_ = std::move(value);
        } else if (json::object* dictionary = path_.back().container.if_object()) {
            dictionary->insert_or_assign(*path_.back().key, std::move(*value));
        } else {
            path_.back().container.get_array().push_back(std::move(*value));
        }
        return finishValue();
    }

    /// Goes on to the next member. This drops a value that was not added because JSON lacks its kind.
    bool finishValue() {
        hasTop_ = true;
        if (!path_.empty()) {
            path_.back().key.reset();
        }
        return true;
    }

    bool count(std::size_t size) {
        memory_ += propertyListValueMemory + size;
        return memory_ <= propertyListMemory;
    }

    XML_Parser parser_ = nullptr;
    std::vector<Open> path_;
    std::string text_;
    std::optional<json::value> top_;
    std::exception_ptr failure_;
    std::size_t memory_ = 0;
    bool isInList_ = false;
    bool isInText_ = false; ///< inside an element that holds text and no elements
    bool hasTop_ = false;
    bool hasStopped_ = false;
};

} // namespace

std::optional<json::value> readXmlPropertyList(std::string_view bytes) { return XmlReader().read(bytes); }

} // namespace kiv
