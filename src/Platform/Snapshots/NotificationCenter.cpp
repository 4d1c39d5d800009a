#include <kiv/NotificationCenter.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include "Platform/Snapshots/Epoch.h"
#include "Platform/Text/ShortText.h"
#include "Platform/Threads/ThreadEnd.h"

namespace kiv {

namespace {

struct Entry {
    NotificationCenter::Token token;
    std::string name;
    NotificationCenter::Observer observer;
    std::atomic<bool> active{true};
};

/// An entry with what tells most names apart, so that a notification touches the entries of its name alone.
struct Listed {
    explicit Listed(std::shared_ptr<Entry> ownEntry) : ends(ownEntry->name), entry(std::move(ownEntry)) {}

    TextEnds ends;
    std::shared_ptr<Entry> entry;
};

using Entries = std::vector<Listed>;

} // namespace

struct NotificationCenter::Implementation {
    std::mutex lock; ///< held while the list is changed
    Token lastToken = 0;
    Published<Entries> entries{std::make_unique<const Entries>()};
};

NotificationCenter::NotificationCenter() : implementation_(std::make_unique<Implementation>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
    static NotificationCenter& center = *new NotificationCenter;
    return center;
}

NotificationCenter::Token NotificationCenter::addObserver(std::string name, Observer observer) {
    Implementation& own = *implementation_;
    const WriterLock lock(own.lock);
    auto entry = std::make_shared<Entry>();
    entry->token = ++own.lastToken;
    entry->name = std::move(name);
    entry->observer = std::move(observer);
    auto next = std::make_unique<Entries>(*own.entries.load());
    next->emplace_back(entry);
    own.entries.publish(std::move(next));
    return entry->token;
}

void NotificationCenter::removeObserver(Token token) {
    Implementation& own = *implementation_;
    const WriterLock lock(own.lock);
    auto next = std::make_unique<Entries>(*own.entries.load());
    const auto found = std::find_if(next->begin(), next->end(),
                                    [&](const Listed& each) { return each.entry->token == token; });
    if (found == next->end()) {
        return;
    }
    found->entry->active.store(false, std::memory_order_release);
    next->erase(found);
    own.entries.publish(std::move(next));
}

void NotificationCenter::post(const Notification& notification) const {
    const ReadGuard guard;
    const TextEnds ends(notification.name());
    for (const auto& [entryEnds, entry] : *implementation_->entries.load()) {
        if (entryEnds != ends || !sameText(entry->name, notification.name()) ||
            !entry->active.load(std::memory_order_acquire)) {
            continue;
        }
        try {
            entry->observer(notification);
        } catch (const kiv::ThreadEnd&) {
            throw;
        } catch (...) {
            // The poster and the other observers do not see an observer's exception.
        }
    }
}

} // namespace kiv
