#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

#include <kiv/KIVExport.h>

namespace kiv {

/// One notification, valid while its observers run.
class Notification {
public:
    template <class T>
    Notification(std::string_view name, const T& object) noexcept
        : name_(name), object_(std::addressof(object)), type_(&typeid(T)) {}

    std::string_view name() const noexcept { return name_; }

    /// The object that the notification is about, or null when it is of another type.
    template <class T>
    const T* object() const noexcept {
        return *type_ == typeid(T) ? static_cast<const T*>(object_) : nullptr;
    }

private:
    std::string_view name_;
    const void* object_;
    const std::type_info* type_;
};

/// Tells whoever asked about an event, on the thread on which it happens, before `post` returns.
///
/// No lock is held while observers run: they may post, add and remove observers, and call any other part of
/// the library. What an observer throws ends with it. Callable from any thread.
class KIV_API NotificationCenter {
public:
    using Observer = std::function<void(const Notification&)>;
    using Token = std::uint64_t;

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    /// The centre on which the library posts. Never destroyed.
    static NotificationCenter& defaultCenter();

    /// Calls the observer for every notification of that name from now on, until the token is removed.
    [[nodiscard]] Token addObserver(std::string name, Observer observer);

    /// The observer is not called for notifications posted later; a call under way on another thread may
    /// still be at work when this returns.
    void removeObserver(Token token);

    void post(const Notification& notification) const;

    template <class T>
    void post(std::string_view name, const T& object) const {
        post(Notification(name, object));
    }

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

} // namespace kiv
