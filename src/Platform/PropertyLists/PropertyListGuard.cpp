#include "Platform/PropertyLists/PropertyListGuard.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace kiv {
namespace {

constexpr std::size_t headerSize = 8;
constexpr std::size_t trailerSize = 32;

constexpr std::size_t mostObjects = propertyListMemory / propertyListValueMemory;

class BinaryGuard {
public:
    explicit BinaryGuard(std::string_view bytes) : bytes_(bytes) {}

    bool isSafe() { return readTrailer() && walk(); }

private:
    struct Object {
        std::size_t memory = 0; ///< of itself without its members
        std::size_t refs = 0;   ///< where the references to its members are
        std::size_t refCount = 0;
        std::size_t keyCount = 0; ///< the first references, which must be to texts without a zero unit
        bool canBeKey = false;
    };

    /// What is known of an object whose members have all been walked.
    struct Finding {
        std::size_t memory = 0; ///< with all members, each counted as often as it is referred to
        std::uint32_t height = 0;
        bool onPath = false;
    };

    struct Step {
        std::size_t index;
        Object object;
        std::size_t next = 0;
        Finding finding;
    };

    std::uint64_t number(std::size_t at, std::size_t size) const {
        std::uint64_t value = 0;
        for (const char c : bytes_.substr(at, size)) {
            value = value << 8U | static_cast<unsigned char>(c);
        }
        return value;
    }

    bool readTrailer() {
        if (bytes_.size() < headerSize + trailerSize || !bytes_.starts_with("bplist00")) {
            return false;
        }
        const std::size_t trailer = bytes_.size() - trailerSize;
        offsetSize_ = number(trailer + 6, 1);
        refSize_ = number(trailer + 7, 1);
        objectCount_ = number(trailer + 8, 8);
        root_ = number(trailer + 16, 8);
        table_ = number(trailer + 24, 8);
        return offsetSize_ >= 1 && offsetSize_ <= 8 && refSize_ >= 1 && refSize_ <= 8 &&
               table_ >= headerSize && table_ <= trailer && objectCount_ <= mostObjects &&
               objectCount_ <= (trailer - table_) / offsetSize_ && root_ < objectCount_;
    }

    /// What stands at the place that the table names; nothing when it is malformed or reaches into the table.
    std::optional<Object> readObject(std::size_t index) const {
        std::size_t at = number(table_ + index * offsetSize_, offsetSize_);
        if (at < headerSize || at >= table_) {
            return std::nullopt;
        }
        const auto marker = static_cast<unsigned char>(bytes_[at++]);
        const std::size_t kind = marker >> 4U;
        const std::size_t low = marker & 15U;
        switch (kind) {
        case 0x0:
            return low == 8 || low == 9 ? plain(at, 0) : std::nullopt;
        case 0x1:
            // 16 bytes carry an unsigned number in the last eight.
            return low < 4 || (low == 4 && table_ - at >= 8 && number(at, 8) == 0) ? plain(at, 1U << low)
                                                                                   : std::nullopt;
        case 0x2:
            return low == 2 || low == 3 ? plain(at, 1U << low) : std::nullopt;
        case 0x3:
            return low == 3 ? plain(at, 8) : std::nullopt;
        case 0x8:
            return low < 8 ? plain(at, low + 1) : std::nullopt;
        default:
            break;
        }
        const std::optional<std::size_t> count = readCount(low, at);
        if (!count) {
            return std::nullopt;
        }
        switch (kind) {
        case 0x4:
            return plain(at, *count);
        case 0x5:
            return text(at, *count, 1);
        case 0x6:
            return text(at, *count, 2);
        case 0xA:
            return container(at, *count, 0);
        case 0xD:
            return container(at, 2 * *count, *count);
        default:
            return std::nullopt;
        }
    }

    /// The number of members or units: in the marker itself, or in an integer that follows it.
    std::optional<std::size_t> readCount(std::size_t low, std::size_t& at) const {
        std::size_t count = low;
        if (low == 15) {
            if (at == table_ || (number(at, 1) & ~std::uint64_t(3)) != 0x10) {
                return std::nullopt;
            }
            const std::size_t size = std::size_t(1) << (number(at, 1) & 3U);
            if (table_ - at <= size) {
                return std::nullopt;
            }
            count = number(at + 1, size);
            at += 1 + size;
        }
        return count <= table_ - at ? std::optional(count) : std::nullopt;
    }

    std::optional<Object> plain(std::size_t at, std::size_t size) const {
        if (size > table_ - at) {
            return std::nullopt;
        }
        return Object{.memory = propertyListValueMemory + 2 * size};
    }

    /// A text counts by its length in UTF-8, the form that it takes in memory. libplist ends the process over
    /// a key with a zero unit.
    std::optional<Object> text(std::size_t at, std::size_t count, std::size_t unitSize) const {
        if (count * unitSize > table_ - at) {
            return std::nullopt;
        }
        std::size_t length = count;
        bool canBeKey = true;
        for (std::size_t unit = 0; unit < count; ++unit) {
            const std::uint64_t value = number(at + unit * unitSize, unitSize);
            canBeKey = canBeKey && value != 0;
            if (unitSize == 2) {
                const bool isSurrogate =
                    value >= 0xD800 && value < 0xE000; // each of a pair: two bytes of four
                length += (value >= 0x80 ? 1 : 0) + (value >= 0x800 && !isSurrogate ? 1 : 0);
            }
        }
        return Object{.memory = propertyListValueMemory + 2 * length, .canBeKey = canBeKey};
    }

    std::optional<Object> container(std::size_t at, std::size_t refCount, std::size_t keyCount) const {
        if (refCount > (table_ - at) / refSize_) {
            return std::nullopt;
        }
        return Object{
            .memory = propertyListValueMemory, .refs = at, .refCount = refCount, .keyCount = keyCount};
    }

    bool walk() {
        findings_.resize(objectCount_);
        if (!enter(root_, false)) {
            return false;
        }
        while (!path_.empty()) {
            Step& step = path_.back();
            if (step.next == step.object.refCount) {
                leave();
                continue;
            }
            const std::size_t at = step.object.refs + step.next * refSize_;
            const std::size_t index = number(at, refSize_);
            const bool isKey = step.next < step.object.keyCount;
            if (index >= objectCount_ || findings_[index].onPath) {
                return false;
            }
            if (findings_[index].height == 0) {
                if (!enter(index, isKey)) {
                    return false;
                }
                continue;
            }
            if (!add(step, findings_[index]) || (isKey && !readObject(index)->canBeKey)) {
                return false;
            }
            ++step.next;
        }
        return true;
    }

    bool enter(std::size_t index, bool asKey) {
        const std::optional<Object> object = readObject(index);
        if (!object || (asKey && !object->canBeKey) || path_.size() > propertyListDepth) {
            return false;
        }
        // All distinct objects together take no more than the whole with its repetitions does; and each has
        // to be counted at once, or objects that lie over one another would make a small file long to walk.
        walked_ += object->memory + object->refCount * propertyListValueMemory;
        if (walked_ > propertyListMemory) {
            return false;
        }
        findings_[index].onPath = true;
        path_.push_back(
            {.index = index, .object = *object, .finding = {.memory = object->memory, .height = 1}});
        return true;
    }

    static bool add(Step& step, const Finding& member) {
        step.finding.memory += member.memory;
        step.finding.height = std::max(step.finding.height, member.height + 1);
        return step.finding.memory <= propertyListMemory && step.finding.height <= propertyListDepth + 1;
    }

    void leave() {
        findings_[path_.back().index] = path_.back().finding;
        path_.pop_back();
    }

    std::string_view bytes_;
    std::size_t offsetSize_ = 0;
    std::size_t refSize_ = 0;
    std::size_t objectCount_ = 0;
    std::size_t root_ = 0;
    std::size_t table_ = 0;
    std::size_t walked_ = 0;
    std::vector<Finding> findings_;
    std::vector<Step> path_;
};

} // namespace

bool isSafeBinaryPropertyList(std::string_view bytes) { return BinaryGuard(bytes).isSafe(); }

} // namespace kiv
