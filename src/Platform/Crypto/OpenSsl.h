#pragma once

#include <openssl/err.h>

/// For the sources that call OpenSSL.
namespace kiv {

/// Leaves the thread's queue of OpenSSL errors as it was before: the application may use OpenSSL too.
class ErrorQueueGuard {
public:
    ErrorQueueGuard() { ERR_set_mark(); }
    ~ErrorQueueGuard() { ERR_pop_to_mark(); }
    ErrorQueueGuard(const ErrorQueueGuard&) = delete;
    ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;

    /// The reason of the last error, as a number.
    int reason() const { return ERR_GET_REASON(ERR_peek_last_error()); }
};

} // namespace kiv
