#include "../../tools/kiv/expression/OperatorSignatures.h"

#include <map>
#include <string>
#include <vector>

#include "KivxLanguage/KivxCustomPropertiesExtensions.h"
#include "KivxLanguage/KivxTrace.h"
#include "Properties/KIVCustomPropertiesRepository.h"
#include "Support/ExperimentFixture.h"

namespace {

/// Counts the arguments that each operator takes from the stack.
class ArgumentCounter : public KivxTrace {
public:
    void entered(std::string_view, std::string_view) override {}
    void applied(std::string_view name, std::size_t, const std::vector<KivxValue>& arguments,
                 const KivxValue&) override {
        counted[std::string(name)] = arguments.size();
    }
    void failed(std::string_view, std::size_t, std::string_view) override {}
    void noted(std::string_view, const KivxValue&) override {}
    void left(const KivxValue&) override {}

    std::map<std::string, std::size_t> counted;
};

using OperatorSignatures = ExperimentFixture;

TEST_F(OperatorSignatures, AreThoseOfTheParser) {
    KivxCustomPropertiesExtensions(*parser, properties).extend();
    ArgumentCounter counter;
    const KivxTrace::Scope scope(counter);
    for (const std::string& name : parser->operators().names()) {
        // Every operator runs with at least one of these.
        for (const std::string_view arguments : {R"(("1", "1", "1", "1"))", R"(("1", ["1"]))"}) {
            parser->evaluateExpression(name + std::string(arguments), "", EvaluationContext());
        }
    }
    std::map<std::string, std::size_t> expected;
    for (const auto& signature : kiv::tool::operatorSignatures) {
        expected[std::string(signature.name)] = signature.arity();
    }
    EXPECT_EQ(counter.counted, expected);
}

} // namespace
