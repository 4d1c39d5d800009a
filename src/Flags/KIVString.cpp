#include <kiv/KIVString.h>

#include <algorithm>
#include <thread>

#include <kiv/KIVException.h>
#include <kiv/KIVFlagsOverrides.h>
#include <kiv/NotificationCenter.h>

#include "Flags/FlagNumbers.h"
#include "Flags/KIVFlagReader.h"
#include "KivxLanguage/KivxParser.h"
#include "Model/KIVExperimentModel.h"
#include "Platform/Snapshots/Epoch.h"
#include "Platform/Text/ShortText.h"
#include "Platform/Threads/Fork.h"
#include "Runtime/KIVDebugger.h"

namespace {

std::vector<std::string> checkedTexts(const std::vector<KIVNullableString>& variations) {
    std::vector<std::string> texts;
    for (const KIVNullableString& variation : variations) {
        if (variation.isNil()) {
            throw KIVException::invalidArgument("Feature flag variation cannot be nil");
        }
        texts.push_back(variation.string());
    }
    return texts;
}

} // namespace

/// Everything about a flag that changes. A change replaces the whole state, so that a read sees one state and
/// takes no lock.
struct KIVString::State {
    std::optional<std::string> name;
    unsigned freezeLevel = KIVFreezeNever;
    bool isUsingDefaultFreezeLevel = false;
    bool isFreezed = false;
    std::thread::id freezer; ///< the thread that evaluates the value to freeze with, while it does
    unsigned forks = 0;      ///< `kiv::forkCount` when it began to
    std::string value;       ///< the last value, kept only for flags that can freeze
    std::optional<std::string> forcedValue;
    std::shared_ptr<KIVFlagsOverrides> overrides;
    std::shared_ptr<const KivxParser> parser;
    std::shared_ptr<const KIVExperimentModel> experiment;
};

KIVString::KIVString(std::string defaultValue)
    : KIVString(std::move(defaultValue), std::vector<std::string>(), std::nullopt) {}

KIVString::KIVString(std::string defaultValue, const std::vector<KIVNullableString>& variations)
    : KIVString(std::move(defaultValue), checkedTexts(variations), std::nullopt) {}

KIVString::KIVString(std::string defaultValue, const std::vector<KIVNullableString>& variations,
                     unsigned freeze)
    : KIVString(std::move(defaultValue), checkedTexts(variations), std::optional<unsigned>(freeze)) {}

KIVString::KIVString(std::string defaultValue, std::vector<std::string> variations,
                     std::optional<unsigned> freeze)
    : defaultValue_(std::move(defaultValue)), variations_(std::move(variations)), state_(nullptr) {
    if (std::find(variations_.begin(), variations_.end(), defaultValue_) == variations_.end()) {
        variations_.push_back(defaultValue_);
    }
    auto state = std::make_unique<State>();
    state->freezeLevel = freeze.value_or(KIVFreezeNever);
    state->isUsingDefaultFreezeLevel = !freeze;
    state->value = defaultValue_;
    state_.store(state.release(), std::memory_order_relaxed);
}

KIVString::~KIVString() { delete state_.load(std::memory_order_relaxed); }

template <class Change>
void KIVString::change(Change&& change) const {
    const kiv::WriterLock lock(lock_);
    auto next = std::make_unique<State>(*state_.load(std::memory_order_relaxed));
    change(*next);
    kiv::retire(std::unique_ptr<const State>(state_.exchange(next.release(), std::memory_order_seq_cst)));
}

/// Copying the state costs much more than the question whether the change is needed.
template <class Needed, class Change>
void KIVString::changeIf(Needed&& isNeeded, Change&& change) const {
    {
        const kiv::ReadGuard guard;
        if (!isNeeded(*state_.load(std::memory_order_seq_cst))) {
            return;
        }
    }
    this->change(change);
}

std::string KIVString::value(const KIVDynamicPropertyContext& context) const {
    const auto evaluation = EvaluationContext::initDefaultWithContext(context);
    return getStringValue(&evaluation);
}

std::string KIVString::getStringValue(const EvaluationContext* context) const {
    return getStringValue(context, defaultValue_);
}

std::string KIVString::getStringValue(const EvaluationContext* context, std::string_view defaultValue) const {
    const kiv::ReadGuard guard;
    std::string own;
    const std::string_view value = internalValue(context, defaultValue, nullptr, own);
    return value.data() == own.data() ? std::move(own) : std::string(value);
}

bool KIVString::getBoolValue(const EvaluationContext* context) const {
    return getBoolValue(context, defaultValue_);
}

bool KIVString::getBoolValue(const EvaluationContext* context, std::string_view defaultValue) const {
    const kiv::ReadGuard guard;
    return KIVFlagReader::boolValue(*this, context, defaultValue);
}

bool KIVFlagReader::boolValue(const KIVString& flag, const EvaluationContext* context,
                              std::string_view defaultValue) {
    std::string own;
    return kiv::sameText(flag.internalValue(context, defaultValue, kiv::normalizedBoolean, own), "true");
}

std::int64_t KIVString::getIntValue(const EvaluationContext* context) const {
    return getIntValue(context, defaultValue_);
}

std::int64_t KIVString::getIntValue(const EvaluationContext* context, std::string_view defaultValue) const {
    const kiv::ReadGuard guard;
    return KIVFlagReader::intValue(*this, context, defaultValue);
}

std::int64_t KIVFlagReader::intValue(const KIVString& flag, const EvaluationContext* context,
                                     std::string_view defaultValue) {
    std::string own;
    return kiv::parseInt(flag.internalValue(context, defaultValue, kiv::normalizedInteger, own), "0");
}

double KIVString::getDoubleValue(const EvaluationContext* context) const {
    return getDoubleValue(context, defaultValue_);
}

double KIVString::getDoubleValue(const EvaluationContext* context, std::string_view defaultValue) const {
    const kiv::ReadGuard guard;
    return KIVFlagReader::doubleValue(*this, context, defaultValue);
}

double KIVFlagReader::doubleValue(const KIVString& flag, const EvaluationContext* context,
                                  std::string_view defaultValue) {
    std::string own;
    return kiv::parseDouble(flag.internalValue(context, defaultValue, kiv::normalizedDouble, own), "0");
}

std::string KIVString::peek() const {
    const EvaluationContext context{.shouldRaiseImpression = false, .shouldUseFreeze = false};
    return getStringValue(&context);
}

std::string KIVString::originalValue() const {
    const EvaluationContext context{
        .shouldRaiseImpression = false, .shouldUseFreeze = false, .shouldUseOverride = false};
    return getStringValue(&context);
}

/// Thaws the flag again when something cuts the evaluation of the value to freeze with short.
class KIVString::FreezeGuard {
public:
    FreezeGuard(const KIVString& flag, bool freezes) : flag_(freezes ? &flag : nullptr) {}
    ~FreezeGuard() {
        if (flag_) {
            flag_->change([](State& next) {
                if (next.freezer == std::this_thread::get_id()) {
                    next.freezer = std::thread::id();
                    next.isFreezed = false;
                }
            });
        }
    }
    FreezeGuard(const FreezeGuard&) = delete;
    FreezeGuard& operator=(const FreezeGuard&) = delete;

    void dismiss() { flag_ = nullptr; }

private:
    const KIVString* flag_;
};

/// The flag's value. It lasts as long as the caller's `ReadGuard`, `defaultValue` and `own`.
std::string_view KIVString::internalValue(const EvaluationContext* given, std::string_view defaultValue,
                                          Normalizer normalize, std::string& own) const {
    const State& state = *state_.load(std::memory_order_seq_cst);
    if (state.forcedValue) {
        return *state.forcedValue;
    }
    if (state.parser && state.parser->hasGlobalDynamicPropertyContext()) {
        return valueInContext(state, EvaluationContext::initMerged(state.parser.get(), given), defaultValue,
                              normalize, own);
    }
    return given ? valueInContext(state, *given, defaultValue, normalize, own)
                 : valueInContext(state, EvaluationContext(), defaultValue, normalize, own);
}

std::string_view KIVString::valueInContext(const State& state, const EvaluationContext& context,
                                           std::string_view defaultValue, Normalizer normalize,
                                           std::string& own) const {
    if (state.overrides && state.name && context.shouldUseOverride) {
        if (const std::string* override = state.overrides->find(*state.name)) {
            keepValue(state, *override);
            return *override;
        }
    }
    if (state.freezer != std::thread::id() && state.forks != kiv::forkCount()) {
        thawAfterFork();
        return valueInContext(*state_.load(std::memory_order_seq_cst), context, defaultValue, normalize, own);
    }
    // While one thread evaluates the value to freeze with, there is no frozen value yet. Nested reads of that
    // thread get the flag's former value; other threads evaluate for themselves.
    const bool freezesElsewhere =
        state.freezer != std::thread::id() && state.freezer != std::this_thread::get_id();
    if (state.isFreezed && state.freezeLevel != KIVFreezeNever && !freezesElsewhere) {
        return state.value;
    }
    const bool freezes = context.shouldUseFreeze && state.freezeLevel != KIVFreezeNever && !state.isFreezed;
    if (freezes) {
        change([](State& next) {
            if (!next.isFreezed) {
                next.isFreezed = true;
                next.freezer = std::this_thread::get_id();
                next.forks = kiv::forkCount();
            }
        });
    }
    std::string_view result;
    {
        // A callback may end this thread, which unwinds the stack from inside the evaluation.
        FreezeGuard abandoned(*this, freezes);
        result = evaluateValue(state, context, defaultValue, normalize, own);
        abandoned.dismiss();
    }
    if (freezes) {
        // When the flag was thawed meanwhile, another thread may be freezing it anew: that thread's value
        // counts.
        change([&](State& next) {
            if (next.freezer == std::this_thread::get_id()) {
                next.value = result;
                next.freezer = std::thread::id();
            }
        });
    } else if (!freezesElsewhere) {
        keepValue(state, result);
    }
    if (context.shouldRaiseImpression && state.name) {
        announceImpression({*this, *state.name, result, context});
    }
    return result;
}

/// In a child after a fork, the thread that was freezing the flag in the parent is gone.
void KIVString::thawAfterFork() const {
    change([](State& next) {
        if (next.forks != kiv::forkCount()) {
            next.freezer = std::thread::id();
            next.isFreezed = false;
            next.forks = kiv::forkCount();
        }
    });
}

std::string_view KIVString::evaluateValue(const State& state, const EvaluationContext& context,
                                          std::string_view defaultValue, Normalizer normalize,
                                          std::string& own) const {
    if (state.parser && state.experiment) {
        const std::string_view flagName = state.name ? std::string_view(*state.name) : std::string_view();
        const std::string& condition = state.experiment->deploymentConfiguration().condition();
        if (const auto value = state.parser->evaluateText(condition, flagName, context, own)) {
            return normalize ? normalize(*value, defaultValue, own) : *value;
        }
    }
    return defaultValue;
}

/// Remembers the last value of a flag that can freeze; a frozen flag keeps the value that it froze with.
void KIVString::keepValue(const State& state, std::string_view value) const {
    if (state.freezeLevel != KIVFreezeNever && !state.isFreezed && state.value != value) {
        change([&](State& next) {
            if (!next.isFreezed) {
                next.value = value;
            }
        });
    }
}

std::optional<std::string> KIVString::name() const {
    const kiv::ReadGuard guard;
    return state_.load(std::memory_order_seq_cst)->name;
}

unsigned KIVString::freezeLevel() const {
    const kiv::ReadGuard guard;
    return state_.load(std::memory_order_seq_cst)->freezeLevel;
}

bool KIVString::isUsingDefaultFreezeLevel() const {
    const kiv::ReadGuard guard;
    return state_.load(std::memory_order_seq_cst)->isUsingDefaultFreezeLevel;
}

bool KIVString::isFreezed() const {
    const kiv::ReadGuard guard;
    return state_.load(std::memory_order_seq_cst)->isFreezed;
}

void KIVString::forceValue(std::string_view value) {
    change([&](State& next) { next.forcedValue = std::string(value); });
}

void KIVString::setFreezeLevel(unsigned level) {
    changeIf(
        [=](const State& state) { return state.isUsingDefaultFreezeLevel && state.freezeLevel != level; },
        [=](State& next) {
            if (next.isUsingDefaultFreezeLevel) {
                next.freezeLevel = level;
            }
        });
}

/// Thaws the flag and sets the level in one change of the state, so that no read freezes the flag in between.
void KIVString::renewFreezeLevel(unsigned level) {
    changeIf(
        [=](const State& state) {
            return state.isFreezed || (state.isUsingDefaultFreezeLevel && state.freezeLevel != level);
        },
        [=](State& next) {
            if (next.freezeLevel != KIVFreezeForever) {
                next.isFreezed = false;
            }
            if (next.isUsingDefaultFreezeLevel) {
                next.freezeLevel = level;
            }
        });
}

void KIVString::unfreezeWithLevel(unsigned level) {
    changeIf([](const State& state) { return state.isFreezed; },
             [=](State& next) {
                 if (level <= next.freezeLevel) {
                     next.isFreezed = false;
                 }
             });
}

void KIVString::setOverrides(std::shared_ptr<KIVFlagsOverrides> overrides,
                             std::shared_ptr<const KivxParser> parser,
                             std::shared_ptr<const KIVExperimentModel> experiment) {
    changeIf(
        [&](const State& state) {
            return state.overrides != overrides || state.parser != parser || state.experiment != experiment;
        },
        [&](State& next) {
            next.overrides = std::move(overrides);
            next.parser = std::move(parser);
            next.experiment = std::move(experiment);
        });
}

void KIVString::setNameIfNone(const std::string& name) {
    changeIf([](const State& state) { return !state.name; },
             [&](State& next) {
                 if (!next.name) {
                     next.name = name;
                 }
             });
}

void KIVString::clearName() {
    change([](State& next) { next.name.reset(); });
}

void KIVString::flagImpressedWithValue(std::string_view value, const EvaluationContext& context) const {
    const kiv::ReadGuard guard;
    const State& state = *state_.load(std::memory_order_seq_cst);
    if (state.name) {
        announceImpression({*this, *state.name, value, context});
    }
}

void KIVString::announceImpression(const KIVFlagImpression& impression) {
    kiv::NotificationCenter::defaultCenter().post(KIVFlagImpressionNotification, impression);
}

std::string KIVString::description() const {
    return kiv::format("<%@> - %@ (%@)", className(), name().value_or("(null)"), peek());
}
