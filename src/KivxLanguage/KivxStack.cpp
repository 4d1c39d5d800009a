#include "KivxLanguage/KivxStack.h"

#include <utility>

#include <kiv/KIVException.h>

void KivxAccount::refuse() {
    rest_ = 0;
    throw KIVException::internalInconsistency("The expression handles more than 64 MiB of text");
}

const KivxValue KivxStack::none_;

KivxValue KivxStack::popRecorded() {
    KivxValue value = take();
    recorded_->push_back(KivxValue(value).owned());
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
