#include <kiv/EvaluationContext.h>

#include "KivxLanguage/KivxParser.h"

EvaluationContext EvaluationContext::initMerged(const KivxParser* parser, const EvaluationContext* context) {
    EvaluationContext merged = context ? *context : EvaluationContext();
    if (parser) {
        merged.dynamicPropertyContext = KIVDynamicPropertyContext::merged(
            merged.dynamicPropertyContext, parser->globalDynamicPropertyContext());
    }
    return merged;
}
