#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Snapshots/Epoch.h"
#include "Platform/Text/ShortText.h"

namespace kiv {

/// A map from text that any number of threads read without a lock while others change it.
///
/// `find` needs a `ReadGuard`; `get` copies the shared pointer. The cost of adding an entry does not depend
/// on the number of entries.
template <class V>
class ConcurrentMap {
public:
    ConcurrentMap() : table_(std::make_unique<const Table>(minimumSlots)) {}

    ConcurrentMap(const ConcurrentMap&) = delete;
    ConcurrentMap& operator=(const ConcurrentMap&) = delete;

    /// The value of the key, or null; valid until the caller's `ReadGuard` closes.
    const std::shared_ptr<V>* find(std::string_view key) const {
        if (size_.load(std::memory_order_seq_cst) == 0) {
            return nullptr;
        }
        const std::size_t hash = hashOfText(key);
        const Entry* entry = table_.load()->slot(key, hash).load(std::memory_order_seq_cst);
        return entry && entry->value ? &entry->value : nullptr;
    }

    std::shared_ptr<V> get(std::string_view key) const {
        const ReadGuard guard;
        const auto* found = find(key);
        return found ? *found : nullptr;
    }

    /// Adds the value, or replaces the present one.
    void set(std::string_view key, std::shared_ptr<V> value) {
        const WriterLock lock(lock_);
        put(key, std::move(value));
    }

    /// Adds the value unless the key has one. Returns whether it was added.
    bool setIfAbsent(std::string_view key, std::shared_ptr<V> value) {
        const WriterLock lock(lock_);
        const Entry* present = table_.load()->slot(key, hashOfText(key)).load();
        if (present && present->value) {
            return false;
        }
        put(key, std::move(value));
        return true;
    }

    void remove(std::string_view key) {
        const WriterLock lock(lock_);
        const Entry* present = table_.load()->slot(key, hashOfText(key)).load();
        if (present && present->value) {
            put(key, nullptr);
        }
    }

    void clear() {
        const WriterLock lock(lock_);
        size_.store(0, std::memory_order_seq_cst);
        used_ = 0;
        table_.publish(std::make_unique<const Table>(minimumSlots));
        version_.fetch_add(1, std::memory_order_seq_cst);
    }

    /// Grows with each change, after the change can be seen: a thread that reads the version and then the
    /// entries sees at least the changes that the version counts.
    std::uint64_t version() const { return version_.load(std::memory_order_seq_cst); }

    std::size_t size() const { return size_.load(std::memory_order_seq_cst); }

    /// Calls `visit` with the key and the value of each entry, in no particular order. Entries that are added
    /// meanwhile may be left out. `visit` may change the map.
    template <class Visit>
    void forEach(Visit&& visit) const {
        const ReadGuard guard;
        const Table* table = table_.load();
        for (std::size_t i = 0; i <= table->mask; ++i) {
            const Entry* entry = table->slots[i].load(std::memory_order_seq_cst);
            if (entry && entry->value) {
                visit(entry->key, entry->value);
            }
        }
    }

    /// A copy of all entries, in no particular order.
    std::vector<std::pair<std::string, std::shared_ptr<V>>> entries() const {
        std::vector<std::pair<std::string, std::shared_ptr<V>>> all;
        forEach(
            [&](const std::string& key, const std::shared_ptr<V>& value) { all.emplace_back(key, value); });
        return all;
    }

private:
    static constexpr std::size_t minimumSlots = 16;

    /// A removed key keeps its entry, without a value, until the table grows: a reader that probes must not
    /// stop early.
    struct Entry {
        std::string key;
        std::size_t hash;
        std::shared_ptr<V> value;
    };

    using Slot = std::atomic<const Entry*>;

    struct Table {
        explicit Table(std::size_t size) : mask(size - 1), slots(new Slot[size]()) {}
        ~Table() {
            for (std::size_t i = 0; owns && i <= mask; ++i) {
                delete slots[i].load(std::memory_order_relaxed);
            }
        }

        /// Where the key stands, or the free slot where it belongs.
        Slot& slot(std::string_view key, std::size_t hash) const {
            for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
                const Entry* entry = slots[i].load(std::memory_order_seq_cst);
                if (!entry || (entry->hash == hash && sameText(entry->key, key))) {
                    return slots[i];
                }
            }
        }

        const std::size_t mask;
        mutable bool owns = true; ///< false once a larger table has taken the entries over
        std::unique_ptr<Slot[]> slots;
    };

    void put(std::string_view key, std::shared_ptr<V> value) {
        const std::size_t hash = hashOfText(key);
        const bool adds = value != nullptr;
        auto entry = std::make_unique<const Entry>(Entry{std::string(key), hash, std::move(value)});
        Slot& slot = table_.load()->slot(key, hash);
        std::unique_ptr<const Entry> old(slot.exchange(entry.release(), std::memory_order_seq_cst));
        if (!old && ++used_ * 2 > table_.load()->mask) {
            grow();
        }
        const bool removes = old && old->value;
        size_.store(size_.load(std::memory_order_relaxed) + adds - removes, std::memory_order_seq_cst);
        version_.fetch_add(1, std::memory_order_seq_cst);
        retire(std::move(old));
    }

    void grow() {
        const Table* present = table_.load();
        auto larger = std::make_unique<Table>((present->mask + 1) * 2);
        used_ = 0;
        for (std::size_t i = 0; i <= present->mask; ++i) {
            const Entry* entry = present->slots[i].load(std::memory_order_relaxed);
            if (!entry) {
                continue;
            }
            if (entry->value) {
                larger->slot(entry->key, entry->hash).store(entry, std::memory_order_relaxed);
                ++used_;
            } else {
                retire(std::unique_ptr<const Entry>(entry));
            }
        }
        present->owns = false;
        table_.publish(std::move(larger));
    }

    std::mutex lock_; ///< held while the map is changed
    Published<Table> table_;
    std::size_t used_ = 0; ///< slots taken, removed keys included
    std::atomic<std::size_t> size_{0};
    std::atomic<std::uint64_t> version_{0};
};

} // namespace kiv
