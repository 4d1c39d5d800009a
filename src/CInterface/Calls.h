#pragma once

#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include <kiv/KIVException.h>
#include <kiv/c.h>

#include "Platform/Threads/ThreadEnd.h"

/// What every function of the C interface does: check what the caller gave, turn exceptions into statuses,
/// and write texts into the caller's buffers.
namespace kiv {

/// Ends a call with a status and a text for the caller. Thrown inside `call`, which catches it.
struct CallRefused {
    kiv_status status;
    std::string reason;
};

[[noreturn]] void refuse(kiv_status status, std::string reason);

/// Keeps the reason for the calling thread. Returns the status.
kiv_status failWith(kiv_status status, std::string_view reason) noexcept;

/// The status of the exception that is being handled. Rethrows when the thread is ending.
kiv_status statusOfException();

/// Runs the body of a function. No exception leaves it but the end of a thread.
template <class Body>
kiv_status call(Body&& body) {
    try {
        if constexpr (std::is_void_v<decltype(body())>) {
            body();
            return KIV_OK;
        } else {
            return body();
        }
    } catch (const ThreadEnd&) {
        throw;
    } catch (...) {
        return statusOfException();
    }
}

[[noreturn]] void refuseNull(const char* what);
void checkUtf8(std::string_view text, const char* what);

inline void requirePointer(const void* pointer, const char* what) {
    if (!pointer) {
        refuseNull(what);
    }
}

/// The text, which may be anything but null. `what` names it in the error.
inline std::string_view bytes(const char* data, std::size_t size, const char* what) {
    requirePointer(data, what);
    return {data, size == SIZE_MAX ? std::strlen(data) : size};
}

/// The text, checked to be UTF-8.
inline std::string_view text(const char* data, std::size_t size, const char* what) {
    const std::string_view view = bytes(data, size, what);
    checkUtf8(view, what);
    return view;
}

inline std::string_view text(const kiv_text& given, const char* what) {
    return text(given.data, given.size, what);
}

/// nullopt when the text is not set.
std::optional<std::string> optionalText(const kiv_text& given, const char* what);

inline kiv_text asText(std::string_view text) { return {text.data() ? text.data() : "", text.size()}; }

/// Refuses a struct with a `size` other than that of its type. Nothing is read behind `size` before.
template <class Struct>
void checkSize(const Struct& given, const char* what) {
    if (given.size != sizeof(Struct)) {
        refuse(KIV_INVALID_SIZE, std::string(what) + " has the size " + std::to_string(given.size) +
                                     "; this library knows " + std::to_string(sizeof(Struct)));
    }
}

/// A buffer of the caller. Make it before the work that gives its text, because the constructor refuses a
/// null buffer with a capacity.
class CallersBuffer {
public:
    CallersBuffer(char* data, std::size_t capacity, std::size_t* size)
        : data_(data), capacity_(capacity), size_(size) {
        if (capacity > 0) {
            requirePointer(data, "buffer");
        }
    }

    /// KIV_BUFFER_TOO_SMALL when there is no room; then the thread keeps the text.
    kiv_status give(std::string_view text) const {
        if (size_) {
            *size_ = text.size();
        }
        if (text.size() >= capacity_) {
            return keep(text);
        }
        std::memcpy(data_, text.data(), text.size());
        data_[text.size()] = '\0';
        return KIV_OK;
    }

private:
    kiv_status keep(std::string_view text) const;

    char* data_;
    std::size_t capacity_;
    std::size_t* size_;
};

} // namespace kiv
