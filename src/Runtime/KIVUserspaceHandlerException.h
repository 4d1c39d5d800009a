#pragma once

#include <kiv/KIVException.h>

/// Which of the application's callbacks failed.
enum class KIVUserspaceSource : unsigned {
    dynamicPropertiesRule = 0,
    configurationFetchedHandler = 1,
    impressionHandler = 2,
    computedCustomProperty = 3,
};

/// Carries an exception of one of the application's callbacks through an evaluation.
class KIVUserspaceHandlerException : public KIVException {
public:
    KIVUserspaceHandlerException(KIVUserspaceSource trigger, KIVException exception)
        : KIVException("KIVUserspaceHandlerException", "Exception in user space function"), trigger_(trigger),
          exception_(std::move(exception)) {}

    KIVUserspaceSource trigger() const noexcept { return trigger_; }
    const KIVException& exception() const noexcept { return exception_; }

private:
    KIVUserspaceSource trigger_;
    KIVException exception_;
};
