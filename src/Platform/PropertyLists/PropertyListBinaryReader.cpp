#include "Platform/PropertyLists/PropertyListBinaryReader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <unicode/ustring.h>

#include "Platform/PropertyLists/PropertyListBinary.h"
#include "Platform/PropertyLists/PropertyListLimits.h"
#include "Platform/Text/Text.h"

namespace kiv {
namespace {

/// A reference takes at least a byte of the file, so a list has no more values than bytes when each array and
/// dictionary is referred to once. Repeated references may add this many values; without a limit, thirty
/// arrays that each hold the next one twice would become 2^30 values.
constexpr std::size_t repeatedValues = 100'000;

/// Most significant byte first; 8 bytes at most.
std::uint64_t numberOf(std::string_view bytes) {
    std::uint64_t number = 0;
    for (const char byte : bytes) {
        number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
}

json::value realOf(std::string_view bytes) {
    const std::uint64_t bits = numberOf(bytes);
    return bytes.size() == sizeof(float) ? std::bit_cast<float>(static_cast<std::uint32_t>(bits))
                                         : std::bit_cast<double>(bits);
}

std::optional<json::value> integerOf(std::string_view bytes) {
    const bool isWide = bytes.size() == 16;
    if (isWide && numberOf(bytes.substr(0, 8)) != 0) {
        return std::nullopt;
    }
    const std::uint64_t number = numberOf(bytes.substr(isWide ? 8 : 0));
    return isWide && number > INT64_MAX ? json::value(number)
                                        : json::value(static_cast<std::int64_t>(number));
}

/// Converts to UTF-8, block by block. A half of a surrogate pair without its other half becomes U+FFFD.
std::string utf8Of(std::string_view utf16) {
    constexpr std::size_t block = 4096; // units
    std::array<char16_t, block> units;
    std::array<char, 3 * block> converted; // a unit takes three bytes at most
    std::string text;
    text.reserve(utf16.size() / 2);
    while (!utf16.empty()) {
        std::size_t count = std::min(block, utf16.size() / 2);
        for (std::size_t at = 0; at < count; ++at) {
            units[at] = static_cast<char16_t>(numberOf(utf16.substr(2 * at, 2)));
        }
        if (count == block && U16_IS_LEAD(units[count - 1])) {
            --count; // its other half begins the next block
        }
        std::int32_t size = 0;
        UErrorCode error = U_ZERO_ERROR;
        u_strToUTF8WithSub(converted.data(), converted.size(), &size, units.data(),
                           static_cast<std::int32_t>(count), 0xFFFD, nullptr, &error);
        text.append(converted.data(), static_cast<std::size_t>(size));
        utf16.remove_prefix(2 * count);
    }
    return text;
}

/// Builds the values from the top of the list down, without recursion. Allocates memory for the members of an
/// array or dictionary only after it has checked that the list holds all their references and that the limits
/// allow them. The limit of depth also stops circles of references.
class BinaryReader {
public:
    explicit BinaryReader(std::string_view bytes) : bytes_(bytes) {}

    std::optional<json::value> read() {
        if (!readTrailer() || !countValues(1) || !readObject(top_)) {
            return std::nullopt;
        }
        while (!path_.empty()) {
            if (!readNextMember()) {
                return std::nullopt;
            }
        }
        return std::move(result_);
    }

private:
    struct Object {
        BinaryKind kind;
        std::size_t count;
        std::string_view content;
    };

    /// An array or dictionary whose members are being read.
    struct Open {
        json::value container;
        std::size_t count;
        std::string_view references;
        std::size_t next;
        std::string key; ///< of the member that is being read
    };

    bool readTrailer() {
        if (bytes_.size() < binaryListHeader.size() + binaryListTrailerSize ||
            !bytes_.starts_with(binaryListHeader)) {
            return false;
        }
        const std::size_t at = bytes_.size() - binaryListTrailerSize;
        offsetSize_ = numberOf(bytes_.substr(at + 6, 1));
        referenceSize_ = numberOf(bytes_.substr(at + 7, 1));
        objectCount_ = numberOf(bytes_.substr(at + 8, 8));
        top_ = numberOf(bytes_.substr(at + 16, 8));
        table_ = numberOf(bytes_.substr(at + 24, 8));
        return offsetSize_ >= 1 && offsetSize_ <= 8 && referenceSize_ >= 1 && referenceSize_ <= 8 &&
               table_ <= at && objectCount_ <= (at - table_) / offsetSize_;
    }

    /// The object of that number. Nullopt when it does not exist, is malformed or reaches into the table.
    std::optional<Object> objectAt(std::size_t index) const {
        if (index >= objectCount_) {
            return std::nullopt;
        }
        const std::size_t at = numberOf(bytes_.substr(table_ + index * offsetSize_, offsetSize_));
        if (at < binaryListHeader.size() || at >= table_) {
            return std::nullopt;
        }
        std::string_view rest = bytes_.substr(at, table_ - at);
        const auto marker = static_cast<unsigned char>(rest[0]);
        const auto kind = static_cast<BinaryKind>(marker >> 4U);
        rest.remove_prefix(1);
        const std::optional<std::size_t> count = readCount(kind, marker & 15U, rest);
        const std::optional<std::size_t> size = count ? contentSize(kind, *count) : std::nullopt;
        return size && *size <= rest.size() ? std::optional<Object>({kind, *count, rest.substr(0, *size)})
                                            : std::nullopt;
    }

    /// The count of an object whose marker holds the count `low`. Removes a count that follows the marker
    /// from `rest`. Nullopt when that count is larger than the number of bytes that remain, so that
    /// contentSize cannot overflow.
    static std::optional<std::size_t> readCount(BinaryKind kind, std::size_t low, std::string_view& rest) {
        if (low < 15 || kind < BinaryKind::data || kind == BinaryKind::uid) {
            return low;
        }
        const std::uint64_t marker = numberOf(rest.substr(0, 1));
        const std::size_t size = std::size_t(1) << (marker & 3U);
        if ((marker & ~std::uint64_t(3)) != 0x10 || rest.size() - 1 < size) {
            return std::nullopt;
        }
        const std::size_t count = numberOf(rest.substr(1, size));
        rest.remove_prefix(1 + size);
        return count <= rest.size() ? std::optional(count) : std::nullopt;
    }

    /// The size of an object's content in bytes. Nullopt when the kind does not exist or cannot have that
    /// count.
    std::optional<std::size_t> contentSize(BinaryKind kind, std::size_t count) const {
        const auto sizeIf = [](bool exists, std::size_t size) {
            return exists ? std::optional(size) : std::nullopt;
        };
        switch (kind) {
        case BinaryKind::constant:
            return sizeIf(count == 8 || count == 9, 0);
        case BinaryKind::integer:
            return sizeIf(count <= 4, std::size_t(1) << count);
        case BinaryKind::real:
            return sizeIf(count == 2 || count == 3, std::size_t(1) << count);
        case BinaryKind::date:
            return sizeIf(count == 3, 8);
        case BinaryKind::uid:
            return sizeIf(count < 8, count + 1);
        case BinaryKind::data:
        case BinaryKind::ascii:
            return count;
        case BinaryKind::utf16:
            return 2 * count;
        case BinaryKind::array:
            return referenceSize_ * count;
        case BinaryKind::dictionary:
            return 2 * referenceSize_ * count;
        }
        return std::nullopt;
    }

    bool readObject(std::size_t index) {
        const std::optional<Object> object = objectAt(index);
        if (!object) {
            return false;
        }
        switch (object->kind) {
        case BinaryKind::constant:
            return add(json::value(object->count == 9));
        case BinaryKind::integer:
            return add(integerOf(object->content));
        case BinaryKind::real:
            return add(realOf(object->content));
        case BinaryKind::ascii:
        case BinaryKind::utf16:
            return add(textOf(*object));
        case BinaryKind::array:
            return open(*object, json::array());
        case BinaryKind::dictionary:
            return open(*object, json::object());
        case BinaryKind::date:
        case BinaryKind::data:
        case BinaryKind::uid:
            break; // JSON lacks these kinds: the member is dropped
        }
        return true;
    }

    /// Nullopt when the object is no text, or the values so far and this text take too much memory.
    std::optional<std::string> textOf(const Object& object) {
        if (object.kind != BinaryKind::ascii && object.kind != BinaryKind::utf16) {
            return std::nullopt;
        }
        // Each unit becomes at least one byte of UTF-8.
        if (!countText(object.count)) {
            return std::nullopt;
        }
        std::string text =
            object.kind == BinaryKind::ascii ? repairUtf8(object.content) : utf8Of(object.content);
        return countText(text.size() - object.count) ? std::optional(std::move(text)) : std::nullopt;
    }

    bool open(const Object& object, json::array array) {
        if (!countValues(object.count)) {
            return false;
        }
        array.reserve(object.count);
        return push(object, std::move(array));
    }

    bool open(const Object& object, json::object dictionary) {
        if (!countValues(2 * object.count)) {
            return false;
        }
        dictionary.reserve(object.count);
        return push(object, std::move(dictionary));
    }

    bool push(const Object& object, json::value container) {
        path_.push_back({std::move(container), object.count, object.content, 0, {}});
        return path_.size() <= propertyListDepth;
    }

    bool readNextMember() {
        Open& open = path_.back();
        if (open.next == open.count) {
            json::value whole = std::move(open.container);
            path_.pop_back();
            return add(std::move(whole));
        }
        const std::size_t place = open.next++;
        if (open.container.is_array()) {
            return readObject(reference(open, place));
        }
        const std::optional<Object> key = objectAt(reference(open, place));
        std::optional<std::string> text = key ? textOf(*key) : std::nullopt;
        if (!text) {
            return false;
        }
        open.key = std::move(*text);
        return readObject(reference(open, open.count + place));
    }

    std::size_t reference(const Open& open, std::size_t place) const {
        return numberOf(open.references.substr(place * referenceSize_, referenceSize_));
    }

    /// Adds the value to the innermost array or dictionary of the path. False when there is no value.
    template <class Value>
    bool add(std::optional<Value> value) {
        return value && add(json::value(std::move(*value)));
    }

    bool add(json::value value) {
        if (path_.empty()) {
            result_ = std::move(value);
        } else if (json::object* dictionary = path_.back().container.if_object()) {
            dictionary->insert_or_assign(path_.back().key, std::move(value));
        } else {
            path_.back().container.get_array().push_back(std::move(value));
        }
        return true;
    }

    bool countValues(std::size_t count) {
        values_ += count;
        memory_ += count * propertyListValueMemory;
        return values_ <= bytes_.size() + repeatedValues && memory_ <= propertyListMemory;
    }

    bool countText(std::size_t size) {
        memory_ += 2 * size;
        return memory_ <= propertyListMemory;
    }

    std::string_view bytes_;
    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::size_t objectCount_ = 0;
    std::size_t top_ = 0;
    std::size_t table_ = 0;
    std::size_t values_ = 0;
    std::size_t memory_ = 0;
    std::vector<Open> path_;
    std::optional<json::value> result_;
};

} // namespace

std::optional<json::value> readBinaryPropertyList(std::string_view bytes) {
    return BinaryReader(bytes).read();
}

} // namespace kiv
