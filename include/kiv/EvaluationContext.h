#pragma once

#include <kiv/KIVDynamicPropertyContext.h>
#include <kiv/KIVExport.h>

class KivxParser;

/// The switches and the property values of one read of a flag.
struct KIV_API EvaluationContext {
    /// The read produces an impression.
    bool shouldRaiseImpression = true;
    /// The read may freeze the flag. A flag that is already frozen gives its frozen value either way.
    bool shouldUseFreeze = true;
    /// Local overrides are honoured.
    bool shouldUseOverride = true;
    /// The property values of this read.
    KIVDynamicPropertyContext dynamicPropertyContext = KIVDynamicPropertyContext::empty();

    /// All three switches on, no values.
    static EvaluationContext initDefault() { return {}; }

    /// All three switches on, with the given values.
    static EvaluationContext initDefaultWithContext(KIVDynamicPropertyContext context) {
        return {true, true, true, std::move(context)};
    }

    /// A copy of `context` whose values are merged with the parser's global ones; a global value wins over a
    /// value of the same name. When `context` is null: all three switches on and only the global values. When
    /// `parser` is null there are no global values.
    static EvaluationContext initMerged(const KivxParser* parser, const EvaluationContext* context);
};
