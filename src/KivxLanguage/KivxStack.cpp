#include "KivxLanguage/KivxStack.h"

#include <utility>

#include <kiv/KIVException.h>

namespace {

constexpr std::size_t largestCharge = std::size_t{64} << 20;

} // namespace

KivxValue KivxStack::popRecorded() {
    KivxValue value = take();
    recorded_->push_back(value);
    return value;
}

void KivxStack::charge(std::size_t bytes) {
    if (bytes > largestCharge - charged_) {
        throw KIVException::internalInconsistency("The expression handles more than 64 MiB of text");
    }
    charged_ += bytes;
}

std::string KivxStack::description() const {
    std::string text = "(";
    const char* separator = "";
    for (const KivxValue& value : values_) {
        text += std::exchange(separator, ", ");
        value.describeTo(text);
    }
    return text + ")";
}
