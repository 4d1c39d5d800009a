#include "KivxLanguage/KivxStack.h"

#include <utility>

#include <kiv/KIVException.h>

void KivxAccount::charge(std::size_t bytes) {
    if (bytes > rest_) {
        throw KIVException::internalInconsistency("The expression handles more than 64 MiB of text");
    }
    rest_ -= bytes;
}

KivxValue KivxStack::popRecorded() {
    KivxValue value = take();
    recorded_->push_back(value);
    return value;
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
