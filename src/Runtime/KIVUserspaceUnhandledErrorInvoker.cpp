#include "Runtime/KIVUserspaceUnhandledErrorInvoker.h"

#include "Platform/Threads/Fork.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"

void KIVUserspaceUnhandledErrorInvoker::setHandler(Handler handler) {
    auto next = handler ? std::make_shared<const Handler>(std::move(handler)) : nullptr;
    const kiv::Lock lock(lock_);
    handler_.swap(next);
}

KIVUserspaceUnhandledErrorInvoker::Handler KIVUserspaceUnhandledErrorInvoker::handler() const {
    const kiv::Lock lock(lock_);
    return handler_ ? *handler_ : Handler();
}

void KIVUserspaceUnhandledErrorInvoker::trigger(KIVUserspaceSource source,
                                                const KIVException& exception) const {
    std::shared_ptr<const Handler> handler;
    {
        const kiv::Lock lock(lock_);
        handler = handler_;
    }
    if (!handler) {
        kiv::plainLog(
            kiv::format("User Unhandled Error Occured, no fallback handler was set, exception ignored: %@",
                        exception.what()));
        return;
    }
    const auto failure = kiv::failureOf([&] { (*handler)(static_cast<unsigned>(source), exception); });
    if (failure) {
        kiv::plainLog(
            kiv::format("User Unhandled Error Handler itself threw an exception: %@. original exception: %@",
                        failure->what(), exception.what()));
    }
}
