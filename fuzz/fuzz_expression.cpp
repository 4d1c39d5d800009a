#include <kiv/KIVException.h>

#include "Support/FuzzWorld.h"

/// Evaluates the bytes as an expression, and converts the result to every type. Only the conversions to a
/// boolean or a number may throw, and only `KIVException`.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const FuzzWorld& world = *new FuzzWorld;
    static const bool isReady = useNoFolder();
    static_cast<void>(isReady);
    const auto context = EvaluationContext::initDefaultWithContext(KIVDynamicPropertyContext(
        KIVDynamicPropertyContext::Values{{"city", "Lyon"}, {"age", 41}, {"ratio", 0.25}, {"beta", true}}));
    const auto result = world.parser().evaluateExpression(textOf(data, size), "store.flag", context);
    if (result) {
        result->stringValue();
        result->value().description();
        try {
            result->boolValue();
            result->integerValue();
            result->doubleValue();
        } catch (const KIVException&) {
            // an array, for example, has no number
        }
    }
    return 0;
}
