#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <kiv/KIVExport.h>
#include <kiv/TypeMark.h>

namespace kiv {

/// A notification: a name and the object that it is about. Valid while its observers run.
class Notification {
public:
    template <class T>
    Notification(std::string_view name, const T& object) noexcept
        : name_(name), object_(std::addressof(object)), type_(&typeMark<T>) {}

    std::string_view name() const noexcept { return name_; }

    /// The object that the notification is about, or null when it is of another type. `TypeMark` says how
    /// types are compared.
    template <class T>
    const T* object() const noexcept {
        return *type_ == typeMark<T> ? static_cast<const T*>(object_) : nullptr;
    }

private:
    std::string_view name_;
    const void* object_;
    const TypeMark* type_;
};

/// Calls the observers of a notification on the thread that posts it, before `post` returns.
///
/// No lock is held while observers run: they may post, add and remove observers, and call any other part of
/// the library. The centre drops an exception that an observer throws, and still calls the other observers.
/// Callable from any thread.
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

    /// Calls `observer` for every notification of that name that is posted from now on, until the returned
    /// token is given to `removeObserver`.
    [[nodiscard]] Token addObserver(std::string name, Observer observer);

    /// The observer is not called for notifications that are posted later. It may still be running on another
    /// thread when this returns.
    void removeObserver(Token token);

    /// Calls the observers of the notification's name. Does not throw.
    void post(const Notification& notification) const;

    /// Posts a notification of that name about `object`.
    template <class T>
    void post(std::string_view name, const T& object) const {
        post(Notification(name, object));
    }

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

} // namespace kiv
