#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "Analytics/KIVSEGContext.h"

/// Sees each call of the analytics client, on the thread that made it, and may change it, hold it back or
/// swallow it.
class KIVSEGMiddleware {
public:
    using Context = std::shared_ptr<const KIVSEGContext>;
    using Next = std::function<void(Context context)>;

    virtual ~KIVSEGMiddleware() = default;

    /// Lets the call go on by calling `next` with the context or a modified copy, at once or later, from any
    /// thread. An exception that this throws reaches the caller of the analytics client.
    virtual void context(Context context, const Next& next) = 0;
};

/// A callback as a middleware.
class KIVSEGBlockMiddleware : public KIVSEGMiddleware {
public:
    using Block = std::function<void(Context context, const Next& next)>;

    explicit KIVSEGBlockMiddleware(Block block) : block_(std::move(block)) {}

    void context(Context context, const Next& next) override { block_(std::move(context), next); }

private:
    const Block block_;
};

/// Passes calls through the middlewares in their order.
class KIVSEGMiddlewareRunner {
public:
    using Middlewares = std::vector<std::shared_ptr<KIVSEGMiddleware>>;

    explicit KIVSEGMiddlewareRunner(Middlewares middlewares)
        : middlewares_(std::make_shared<const Middlewares>(std::move(middlewares))) {}

    /// `callback`, when there is one, receives the context that the last middleware passed on. A null context
    /// ends the call. Callable from any thread.
    void run(KIVSEGMiddleware::Context context, KIVSEGMiddleware::Next callback) const {
        runFrom(middlewares_, 0, std::move(context), std::move(callback));
    }

private:
    /// Shares the list, because a middleware may keep `next` longer than the runner lives.
    static void runFrom(const std::shared_ptr<const Middlewares>& middlewares, std::size_t index,
                        KIVSEGMiddleware::Context context, KIVSEGMiddleware::Next callback) {
        if (!context) {
            return;
        }
        if (index == middlewares->size()) {
            if (callback) {
                callback(std::move(context));
            }
            return;
        }
        (*middlewares)[index]->context(
            std::move(context),
            [middlewares, index, callback = std::move(callback)](KIVSEGMiddleware::Context passedOn) {
                runFrom(middlewares, index + 1, std::move(passedOn), callback);
            });
    }

    const std::shared_ptr<const Middlewares> middlewares_;
};
