#include "Platform/PropertyLists/PropertyListBinaryWriter.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <deque>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include <unicode/unistr.h>

#include "Platform/PropertyLists/PropertyListBinary.h"
#include "Platform/PropertyLists/PropertyListLimits.h"
#include "Platform/Text/Text.h"

namespace kiv {
namespace {

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// False for nulls, which lists do not carry, and for texts with a zero byte: many programs would end the
/// text there.
bool hasForm(const json::value& value) {
    const json::string* text = value.if_string();
    return !value.is_null() && (!text || text->find('\0') == json::string::npos);
}

bool hasForm(const json::key_value_pair& pair) {
    return pair.key().find('\0') == json::string_view::npos && hasForm(pair.value());
}

/// How many bytes the number needs; at least 1.
std::size_t bytesFor(std::uint64_t number) {
    return (static_cast<std::size_t>(std::bit_width(number | 1U)) + 7) / 8;
}

/// Texts and numbers are written when the writer meets them, equal texts once. Arrays and dictionaries are
/// written at the end, because the size of a reference depends on the number of all objects.
class BinaryWriter {
public:
    std::string write(const json::object& top) {
        const std::size_t index = add(top);
        if (!fits_) {
            return {};
        }
        const std::size_t referenceSize = bytesFor(offsets_.size());
        for (const Container& container : containers_) {
            writeContainer(container, referenceSize);
        }
        const std::size_t table = bytes_.size();
        const std::size_t offsetSize = bytesFor(table);
        for (const std::size_t offset : offsets_) {
            writeNumber(offset, offsetSize);
        }
        bytes_.append(6, '\0');
        writeNumber(offsetSize, 1);
        writeNumber(referenceSize, 1);
        writeNumber(offsets_.size(), 8);
        writeNumber(index, 8);
        writeNumber(table, 8);
        return std::move(bytes_);
    }

private:
    struct Container {
        std::size_t index;
        BinaryKind kind;
        std::vector<std::uint32_t> references;
    };

    /// Returns the number of an object that begins at the end of the bytes written so far.
    std::uint32_t addObject() {
        offsets_.push_back(bytes_.size());
        return static_cast<std::uint32_t>(offsets_.size() - 1);
    }

    std::uint32_t add(const json::value& value) {
        if (value.is_object()) {
            return add(value.get_object());
        }
        if (value.is_array()) {
            return add(value.get_array());
        }
        if (value.is_string()) {
            return addText(value.get_string());
        }
        countValue();
        const std::uint32_t index = addObject();
        if (value.is_bool()) {
            writeMarker(BinaryKind::constant, value.get_bool() ? 9 : 8);
        } else if (value.is_double()) {
            writeMarker(BinaryKind::real, 3);
            writeNumber(std::bit_cast<std::uint64_t>(value.get_double()), 8);
        } else if (value.is_uint64()) {
            writeUnsigned(value.get_uint64());
        } else if (value.get_int64() >= 0) {
            writeUnsigned(static_cast<std::uint64_t>(value.get_int64()));
        } else {
            writeMarker(BinaryKind::integer, 3);
            writeNumber(static_cast<std::uint64_t>(value.get_int64()), 8);
        }
        return index;
    }

    std::uint32_t addText(std::string_view text) {
        if (!isValidUtf8(text)) {
            return addText(repaired_.emplace_back(repairUtf8(text)));
        }
        countValue(text.size());
        const auto [known, isNew] = texts_.try_emplace(text, offsets_.size());
        if (isNew && fits_) {
            addObject();
            writeText(text);
        }
        return static_cast<std::uint32_t>(known->second);
    }

    std::uint32_t add(const json::array& array) {
        const std::uint32_t index = addObject();
        if (!enter()) {
            return index;
        }
        std::vector<std::uint32_t> references;
        references.reserve(array.size());
        for (const json::value& element : array) {
            if (hasForm(element)) {
                references.push_back(add(element));
            }
        }
        return leave({index, BinaryKind::array, std::move(references)});
    }

    std::uint32_t add(const json::object& dictionary) {
        const std::uint32_t index = addObject();
        if (!enter()) {
            return index;
        }
        std::vector<std::uint32_t> references;
        references.reserve(2 * dictionary.size());
        for (const json::key_value_pair& pair : dictionary) {
            if (hasForm(pair)) {
                references.push_back(addText(pair.key()));
            }
        }
        for (const json::key_value_pair& pair : dictionary) {
            if (hasForm(pair)) {
                references.push_back(add(pair.value()));
            }
        }
        return leave({index, BinaryKind::dictionary, std::move(references)});
    }

    bool enter() {
        countValue();
        fits_ = fits_ && depth_ < propertyListDepth;
        depth_ += fits_ ? 1 : 0;
        return fits_;
    }

    std::uint32_t leave(Container container) {
        --depth_;
        containers_.push_back(std::move(container));
        return static_cast<std::uint32_t>(containers_.back().index);
    }

    void writeContainer(const Container& container, std::size_t referenceSize) {
        offsets_[container.index] = bytes_.size();
        const std::size_t references = container.references.size();
        writeCount(container.kind, container.kind == BinaryKind::dictionary ? references / 2 : references);
        for (const std::uint32_t reference : container.references) {
            writeNumber(reference, referenceSize);
        }
    }

    void countValue(std::size_t textSize = 0) {
        memory_ += propertyListValueMemory + 2 * textSize;
        fits_ = fits_ && memory_ <= propertyListMemory;
    }

    void writeText(std::string_view text) {
        if (isAscii(text)) {
            writeCount(BinaryKind::ascii, text.size());
            bytes_ += text;
            return;
        }
        const auto units =
            icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
        const auto count = static_cast<std::size_t>(units.length());
        writeCount(BinaryKind::utf16, count);
        bytes_.reserve(bytes_.size() + 2 * count + smallRest);
        for (std::int32_t at = 0; at < units.length(); ++at) {
            writeNumber(units.charAt(at), 2);
        }
    }

    void writeMarker(BinaryKind kind, std::size_t low) {
        writeNumber(static_cast<std::size_t>(kind) << 4U | low, 1);
    }

    void writeCount(BinaryKind kind, std::size_t count) {
        writeMarker(kind, std::min<std::size_t>(count, 15));
        if (count >= 15) {
            writeUnsigned(count);
        }
    }

    void writeUnsigned(std::uint64_t number) {
        const bool isWide = number > INT64_MAX;
        const std::size_t size = std::bit_ceil(bytesFor(number));
        writeMarker(BinaryKind::integer, isWide ? 4 : static_cast<std::size_t>(std::countr_zero(size)));
        writeNumber(0, isWide ? 8 : 0);
        writeNumber(number, size);
    }

    void writeNumber(std::uint64_t number, std::size_t size) {
        for (std::size_t shift = 8 * size; shift > 0;) {
            shift -= 8;
            bytes_ += static_cast<char>(number >> shift);
        }
    }

    static constexpr std::size_t smallRest = 1024; ///< bytes that follow the last text of a small list

    std::string bytes_{binaryListHeader};
    std::vector<std::size_t> offsets_;
    std::vector<Container> containers_;
    std::map<std::string_view, std::size_t> texts_; ///< the number of each text's object
    std::deque<std::string> repaired_;              ///< texts that were not UTF-8
    std::size_t depth_ = 0;
    std::size_t memory_ = 0; ///< the sum that a reader of the list counts
    bool fits_ = true;
};

} // namespace

std::string writeBinaryPropertyList(const json::object& dictionary) {
    return BinaryWriter().write(dictionary);
}

} // namespace kiv
