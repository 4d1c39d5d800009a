#pragma once

#include <openssl/err.h>

/// What all callers of OpenSSL need. For sources only.
namespace kiv {

/// Drops what OpenSSL notes in the thread's queue of errors, which may be the application's too.
class ErrorQueueGuard {
public:
    ErrorQueueGuard() { ERR_set_mark(); }
    ~ErrorQueueGuard() { ERR_pop_to_mark(); }
    ErrorQueueGuard(const ErrorQueueGuard&) = delete;
    ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;

    /// The reason of the last error, as a number.
    int reason() const { return ERR_GET_REASON(ERR_peek_last_error()); }
};

template <auto free>
struct Freer {
    template <class T>
    void operator()(T* object) const {
        free(object);
    }
};

} // namespace kiv
