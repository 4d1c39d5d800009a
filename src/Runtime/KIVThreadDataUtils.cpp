#include "Runtime/KIVThreadDataUtils.h"

namespace {

struct ThreadData {
    std::vector<std::jmp_buf*> jumpBuffers;
    std::vector<bool> translations;
    std::vector<KIVSignalHandlingData> signalHandlingData;
};

ThreadData& threadData() {
    static thread_local ThreadData data;
    return data;
}

template <class T>
std::optional<T> pop(std::vector<T>& stack) {
    if (stack.empty()) {
        return std::nullopt;
    }
    std::optional<T> last = std::move(stack.back());
    stack.pop_back();
    return last;
}

} // namespace

void KIVThreadDataUtils::pushJumpBuffer(std::jmp_buf& buffer) { threadData().jumpBuffers.push_back(&buffer); }

std::jmp_buf* KIVThreadDataUtils::popJumpBuffer() { return pop(threadData().jumpBuffers).value_or(nullptr); }

void KIVThreadDataUtils::pushTranslateSignalToException(bool translate) {
    threadData().translations.push_back(translate);
}

std::optional<bool> KIVThreadDataUtils::popTranslateSignalToException() {
    return pop(threadData().translations);
}

bool KIVThreadDataUtils::shouldTranslateSignalToException() {
    const auto& translations = threadData().translations;
    return !translations.empty() && translations.back();
}

void KIVThreadDataUtils::pushSignalHandlingData(KIVSignalHandlingData data) {
    threadData().signalHandlingData.push_back(std::move(data));
}

std::optional<KIVSignalHandlingData> KIVThreadDataUtils::popSignalHandlingData() {
    return pop(threadData().signalHandlingData);
}
