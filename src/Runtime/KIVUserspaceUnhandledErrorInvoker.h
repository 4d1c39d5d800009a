#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "Runtime/KIVUserspaceHandlerException.h"

/// Passes exceptions of the application's callbacks to the application's error handler. Callable from any
/// thread.
class KIVUserspaceUnhandledErrorInvoker {
public:
    /// Takes the callback that failed, as a number of `KIVUserspaceSource`, and its exception.
    using Handler = std::function<void(unsigned source, const KIVException& exception)>;

    /// Replaces the handler; an empty handler removes it.
    void setHandler(Handler handler);
    Handler handler() const;

    /// Calls the handler on the calling thread. When there is no handler, or it throws, a line is logged.
    /// Does not throw.
    void trigger(KIVUserspaceSource source, const KIVException& exception) const;

private:
    mutable std::mutex lock_;
    std::shared_ptr<const Handler> handler_;
};
