#include <cstdlib>

#include "Support/FuzzWorld.h"
#include "Support/TwoWays.h"

/// Evaluates the bytes as an expression in the fast and in the general way. Both must give the same value,
/// fail alike and tell the same steps.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const FuzzWorld& world = *new FuzzWorld;
    static const bool isReady = useNoFolder();
    static_cast<void>(isReady);
    const std::string expression(textOf(data, size));
    // Time goes on between the two evaluations.
    if (expression.find("now") == expression.npos && isCutFast(expression) &&
        allOf(world.parser(), expression) != allOf(world.parser(), forTheGeneralWay(expression))) {
        std::abort();
    }
    return 0;
}
