#include "KivxLanguage/KivxTokenizedExpression.h"

#include <gtest/gtest.h>

#include "Support/Outcome.h"

namespace {

KivxOperatorTable operators() {
    KivxOperatorTable table;
    table.set("eq", {});
    table.set("1st", {});
    return table;
}

/// Each node as its position, kind and text, operators as "op", unknown words as "?".
std::string nodes(std::string_view text, const KivxOperatorTable& table) {
    const KivxTokenizedExpression expression(text, table);
    std::string all;
    for (const KivxNode& node : expression.tokens()) {
        all += all.empty() ? "" : " | ";
        all += std::to_string(node.position) + ' ';
        if (node.type == KivxNodeTypeOperator) {
            EXPECT_EQ(node.op, table.find(*node.value.text()));
            all += "op " + node.op->name;
        } else if (node.type == KivxNodeTypeUnknown) {
            EXPECT_TRUE(node.value.isNone());
            all += '?' + std::string(expression.wordAt(node.position));
        } else {
            all += kindAndText(node.value);
        }
    }
    return all;
}

TEST(TokenizedExpression, CutsExpressions) {
    const KivxOperatorTable table = operators();
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"(,: \t\r\n)", ""},
        {R"(eq("a b", "x"))", "0 op eq | 3 string a b | 10 string x"},
        {R"(eq)", "0 op eq"},
        {R"("eq" "true" "{")", "0 string eq | 5 string true | 12 string {"},
        {R"("")", "0 string "},
        {R"("a""b")", "0 string a | 2 string  | 3 string b"},
        {R"(""")", "0 string  | 1 string "},
        {R"("open)", "0 string open"},
        {R"(true false undefined)", "0 boolean 1 | 5 boolean 0 | 11 undefined <null>"},
        {R"(True)", "0 ?True"},
        {R"(1.5 -3 .5 01)", "0 real 1.5 | 4 integer -3 | 7 real 0.5 | 10 integer 1"},
        {R"(1,5)", "0 integer 1 | 2 integer 5"},
        {R"(1st 2nd +1)", "0 op 1st | 4 ?2nd | 8 ?+1"},
        {R"(eq(foo, 1))", "0 op eq | 3 ?foo | 8 integer 1"},
        // Escaped quotes, and the positions of the tokens behind them.
        {R"("a\"b" eq)", R"(0 string a\"b | 7 op eq)"},
        {R"("\"" 1 "\"\"x" foo)", R"(0 string \" | 5 integer 1 | 7 string \"\"x | 15 ?foo)"},
        {R"("a\b" 1)", R"(0 string a\b | 6 integer 1)"},
        {R"("\KV_Q" 1)", R"(0 string \" | 8 integer 1)"},
        // Literals.
        {R"([1, "x", true, undefined, eq])", "0 array [1, x, 1, <null>, eq]"},
        {R"([])", "0 array []"},
        {R"( {"k": 5})", "1 dictionary {k: 5}"},
        {R"({"k": 1, "k": 2, "l"})", "0 dictionary {k: 2}"},
        {R"(["a\"b", ""])", R"(0 array [a\"b, ])"},
        {R"([1 [2 3])", "3 array [2, 3]"},
        {R"({"a": 1 {"b": 2})", "8 dictionary {b: 2}"},
        {R"([1, {"k": 2}, 3])", "0 array [1, {k: 2}, 3]"},
        {R"({"k": 1, "l"} {2})", "0 dictionary {k: 1} | 14 dictionary {l: 2}"},
        {R"([1, foo, 2])", "4 ?foo | 0 array [1, 2]"},
        {R"({"k": foo})", "6 ?foo | 0 dictionary {}"},
        {R"(1] } 2)", "0 integer 1 | 1 ?] | 3 ?} | 5 integer 2"},
        {R"([1)", ""},
        {"caf\xC3\xA9 \"\xFF\xFE\"", "0 ?caf\xC3\xA9 | 6 string \xFF\xFE"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(nodes(text, table), expected) << text;
    }
}

} // namespace
