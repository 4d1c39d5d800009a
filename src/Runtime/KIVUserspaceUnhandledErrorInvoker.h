#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "Runtime/KIVUserspaceHandlerException.h"

/// Passes what the application's callbacks threw to the application's own error handler. Callable from any
/// thread.
class KIVUserspaceUnhandledErrorInvoker {
public:
    /// Takes the source (the numbers of `KIVUserspaceSource`) and the exception.
    using Handler = std::function<void(unsigned source, const KIVException& exception)>;

    /// An empty handler takes the present one away.
    void setHandler(Handler handler);
    Handler handler() const;

    /// Calls the handler on this thread, or logs a line when there is none or it throws itself. Does not
    /// throw.
    void trigger(KIVUserspaceSource source, const KIVException& exception) const;

private:
    mutable std::mutex lock_;
    std::shared_ptr<const Handler> handler_;
};
