#include "Platform/BinaryPropertyListGuard.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace kiv {

namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

/// The references that one object makes: a run of `count` numbers at `at`.
struct References {
    std::size_t at = 0;
    std::size_t count = 0;
};

class Guard {
public:
    Guard(std::string_view bytes, unsigned maxDepth) : bytes_(bytes), maxDepth_(maxDepth) {}

    bool check() {
        if (bytes_.size() < headerSize + trailerSize || !bytes_.starts_with("bplist00")) {
            return false;
        }
        const std::size_t trailer = bytes_.size() - trailerSize;
        offsetSize_ = byte(trailer + 6);
        referenceSize_ = byte(trailer + 7);
        objectCount_ = number(trailer + 8, 8);
        const std::uint64_t top = number(trailer + 16, 8);
        table_ = number(trailer + 24, 8);
        const bool sizes = offsetSize_ >= 1 && offsetSize_ <= 8 && referenceSize_ >= 1 && referenceSize_ <= 8;
        return sizes && table_ >= headerSize && table_ <= trailer && objectCount_ <= (trailer - table_) / offsetSize_ &&
               top < objectCount_ && walk(top);
    }

private:
    /// What is known of an object: how deep it nests and how many objects it makes, 0 while it is being looked at.
    struct Known {
        bool seen = false;
        unsigned depth = 0;
        std::uint64_t objects = 0;
    };
    struct Step {
        std::uint64_t object;
        References references;
        std::size_t next = 0;
    };

    std::uint8_t byte(std::size_t at) const { return static_cast<std::uint8_t>(bytes_[at]); }

    std::uint64_t number(std::size_t at, std::size_t size) const {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value = value << 8 | byte(at + i);
        }
        return value;
    }

    /// The references of an object, checked to lie before the table; nothing for an object that does not.
    std::optional<References> referencesOf(std::uint64_t object) const {
        const std::uint64_t at = number(table_ + object * offsetSize_, offsetSize_);
        if (at < headerSize || at >= table_) {
            return std::nullopt;
        }
        const unsigned kind = byte(at) >> 4;
        std::uint64_t length = byte(at) & 0x0F;
        std::uint64_t start = at + 1;
        const bool counted = kind == 0x4 || kind == 0x5 || kind == 0x6 || kind >= 0xA;
        if (counted && length == 0x0F) {
            if (start >= table_ || byte(start) >> 4 != 0x1 || (byte(start) & 0x0F) > 3) {
                return std::nullopt;
            }
            const std::size_t size = std::size_t{1} << (byte(start) & 0x0F);
            if (table_ - start <= size) {
                return std::nullopt;
            }
            length = number(start + 1, size);
            start += 1 + size;
        }
        const std::uint64_t room = table_ - start;
        switch (kind) {
        case 0x0:
            return References{};
        case 0x1:
            return length <= 4 && (std::uint64_t{1} << length) <= room ? std::optional(References{}) : std::nullopt;
        case 0x2:
        case 0x3:
            return (length == 2 || length == 3) && (std::uint64_t{1} << length) <= room ? std::optional(References{})
                                                                                       : std::nullopt;
        case 0x4:
        case 0x5:
            return length <= room ? std::optional(References{}) : std::nullopt;
        case 0x6:
            return length <= room / 2 ? std::optional(References{}) : std::nullopt;
        case 0x8:
            return length < room ? std::optional(References{}) : std::nullopt;
        case 0xA:
        case 0xC:
        case 0xD: {
            const std::uint64_t each = referenceSize_ * (kind == 0xD ? 2 : 1);
            return length <= room / each
                       ? std::optional(References{start, static_cast<std::size_t>(length * (kind == 0xD ? 2 : 1))})
                       : std::nullopt;
        }
        default:
            return std::nullopt;
        }
    }

    /// Depth first, without recursion.
    bool walk(std::uint64_t top) {
        std::vector<Known> known(objectCount_);
        std::vector<Step> path;
        const auto enter = [&](std::uint64_t object) {
            const auto references = referencesOf(object);
            if (references) {
                known[object].seen = true;
                path.push_back({object, *references});
            }
            return references.has_value() && path.size() <= maxDepth_;
        };
        if (!enter(top)) {
            return false;
        }
        while (!path.empty()) {
            Step& step = path.back();
            if (step.next == step.references.count) {
                known[step.object].depth += 1;
                known[step.object].objects += 1;
                path.pop_back();
                continue;
            }
            const std::uint64_t child = number(step.references.at + step.next * referenceSize_, referenceSize_);
            if (child >= objectCount_) {
                return false;
            }
            if (!known[child].seen) {
                if (!enter(child)) {
                    return false;
                }
                continue; // comes back to the same reference once the child is known
            }
            if (known[child].objects == 0 || known[child].depth == 0) {
                return false; // still on the path: it contains itself
            }
            ++step.next;
            Known& own = known[step.object];
            own.depth = std::max(own.depth, known[child].depth);
            own.objects += known[child].objects;
            if (own.objects > bytes_.size() || own.depth >= maxDepth_) {
                return false;
            }
        }
        return true;
    }

    const std::string_view bytes_;
    const unsigned maxDepth_;
    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t table_ = 0;
};

} // namespace

bool isSafeBinaryPropertyList(std::string_view bytes, unsigned maxDepth) { return Guard(bytes, maxDepth).check(); }

} // namespace kiv
