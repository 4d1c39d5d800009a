#pragma once

#include <kiv/KIVDynamicPropertyContext.h>
#include <kiv/KIVExport.h>

class KivxParser;

/// How one read of a flag is to be made.
struct KIV_API EvaluationContext {
    /// The read produces an impression.
    bool shouldRaiseImpression = true;
    /// The read may freeze the flag. A flag that is frozen already gives its frozen value in any case.
    bool shouldUseFreeze = true;
    /// Local overrides are honoured.
    bool shouldUseOverride = true;
    KIVDynamicPropertyContext dynamicPropertyContext = KIVDynamicPropertyContext::empty();

    /// All three switches on, no values.
    static EvaluationContext initDefault() { return {}; }

    /// All three switches on, with the given values.
    static EvaluationContext initDefaultWithContext(KIVDynamicPropertyContext context) {
        return {true, true, true, std::move(context)};
    }

    /// The given context (null: all switches on, no values) with the parser's global dynamic context beside
    /// its own; the parser (may be null) is asked first.
    static EvaluationContext initMerged(const KivxParser* parser, const EvaluationContext* context);
};
