#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "Platform/Snapshots/Epoch.h"

/// Handles of the C interface: numbers in the form of pointers, so that a handle which the library did not
/// give, or which was freed, is found out without touching memory.
namespace kiv {

static_assert(sizeof(void*) == sizeof(std::uint64_t), "a handle has 64 bits");

/// What a handle stands for; its highest four bits.
enum class HandleKind : std::uint64_t { flag = 1, context = 2, callbackContext = 3, answer = 4 };

constexpr unsigned handleKindShift = 60;

constexpr std::uint64_t handleOf(HandleKind kind, std::uint64_t number) {
    return static_cast<std::uint64_t>(kind) << handleKindShift | number;
}

inline std::uint64_t handleNumber(const void* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

/// Objects by handle. Any number of threads look up without a lock while others add and remove.
///
/// The number of a handle is the index of its slot, and above it how many handles the table had given before:
/// 28 bits, so that it takes 268 million handles until one of them can come again.
template <class T>
class HandleTable {
public:
    explicit constexpr HandleTable(HandleKind kind) : kind_(kind) {}

    void* add(std::shared_ptr<const T> object) {
        const WriterLock lock(lock_);
        if (free_.empty()) {
            makeRoom();
        }
        const std::uint32_t index = free_.back();
        free_.pop_back();
        Slot& place = *slot(index);
        const std::uint64_t handle = handleOf(kind_, (++given_ & generationMask) << indexBits | index);
        place.object.store(object.get(), std::memory_order_seq_cst);
        place.owner = std::move(object);
        place.handle.store(handle, std::memory_order_seq_cst);
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(handle));
    }

    /// False when there is no such handle.
    bool remove(const void* handle) {
        const WriterLock lock(lock_);
        if (!find(handle)) {
            return false;
        }
        const auto index = static_cast<std::uint32_t>(handleNumber(handle));
        free_.push_back(index); // has room, as `makeRoom` has seen to
        Slot& place = *slot(index);
        place.handle.store(0, std::memory_order_seq_cst);
        retire(std::move(place.owner));
        return true;
    }

    /// The object, or null when there is no such handle. Valid until the caller's `ReadGuard` closes.
    const T* find(const void* handle) const {
        const std::uint64_t number = handleNumber(handle);
        const Slot* place = slot(static_cast<std::uint32_t>(number));
        if (!place || place->handle.load(std::memory_order_seq_cst) != number) {
            return nullptr;
        }
        const T* object = place->object.load(std::memory_order_seq_cst);
        // Another thread may have freed the handle and used its slot anew in between.
        return place->handle.load(std::memory_order_seq_cst) == number ? object : nullptr;
    }

private:
    struct Slot {
        std::atomic<std::uint64_t> handle{0}; ///< 0 while the slot is free
        std::atomic<const T*> object{nullptr};
        std::shared_ptr<const T> owner; ///< touched under the lock alone
    };

    static constexpr unsigned indexBits = 32;
    static constexpr std::uint64_t generationMask = (1U << 28) - 1;
    static constexpr unsigned firstChunkBits = 6;
    static constexpr std::size_t chunkCount = indexBits - firstChunkBits;

    /// Chunk n has 64 << n slots, and is never moved or freed.
    Slot* slot(std::uint32_t index) const {
        const std::uint64_t place = std::uint64_t{index} + (1U << firstChunkBits);
        const unsigned bits = static_cast<unsigned>(std::bit_width(place)) - 1;
        const std::size_t chunk = bits - firstChunkBits;
        if (chunk >= chunkCount) {
            return nullptr;
        }
        Slot* slots = chunks_[chunk].load(std::memory_order_acquire);
        return slots ? slots + (place - (std::uint64_t{1} << bits)) : nullptr;
    }

    /// The caller holds the lock.
    void makeRoom() {
        const std::size_t chunk = used_;
        if (chunk == chunkCount) {
            throw std::bad_alloc();
        }
        const std::uint32_t size = 1U << (firstChunkBits + chunk);
        const std::uint32_t first = size - (1U << firstChunkBits);
        free_.reserve(first + size);
        chunks_[chunk].store(new Slot[size](), std::memory_order_release);
        ++used_;
        for (std::uint32_t i = size; i > 0; --i) {
            free_.push_back(first + i - 1);
        }
    }

    const HandleKind kind_;
    std::mutex lock_; ///< held while the table is changed
    std::array<std::atomic<Slot*>, chunkCount> chunks_{};
    std::size_t used_ = 0; ///< chunks
    std::uint64_t given_ = 0;
    std::vector<std::uint32_t> free_;
};

/// An object that is there before `main` and is never destroyed.
template <class T>
union NeverDestroyed {
    template <class... Arguments>
    explicit constexpr NeverDestroyed(Arguments... arguments) : object(arguments...) {}
    constexpr ~NeverDestroyed() {}

    T object;
};

} // namespace kiv
