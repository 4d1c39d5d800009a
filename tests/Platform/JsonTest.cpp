#include "Platform/Text/Json.h"

#include <gtest/gtest.h>

namespace {

namespace json = kiv::json;

json::value parsed(std::string_view text) { return kiv::parseJson(text).value(); }

TEST(Json, RefusesWhatIsNoDocument) {
    const struct {
        std::string text;
        std::string error;
    } cases[] = {{"", "at byte 0"},
                 {"5", "at byte 0"},
                 {"\"text\"", "at byte 0"},
                 {"[1", "at byte 2"},
                 {"[1] x", "at byte 4"},
                 {"[\"\\ud800\"]", "at byte 8"},
                 {"[\"\xED\xA0\x80\"]", "at byte 2"},
                 {"[1,]", "at byte 3"},
                 {"[NaN]", "at byte 1"},
                 {"[1] // note", "at byte 4"},
                 {std::string(1001, '[') + std::string(1001, ']'), "at byte 1000"}};
    for (const auto& [text, place] : cases) {
        std::string error;
        EXPECT_FALSE(kiv::parseJson(text, &error)) << text;
        EXPECT_TRUE(error.ends_with(place)) << text.substr(0, 20) << ": " << error;
    }
    const std::string largest = "[]" + std::string(kiv::maxJsonBytes - 2, ' ');
    EXPECT_TRUE(kiv::parseJson(largest));
    EXPECT_FALSE(kiv::parseJson(largest + ' '));
}

TEST(Json, KeepsKindsAndOrder) {
    const std::string text =
        R"({"b":[1,-9223372036854775808,18446744073709551615,true,null,"\\\"\n\u0001/ü😀"],"a":{},"":[]})";
    const json::value document = parsed(text + " \n");
    EXPECT_EQ(kiv::compactJson(document), text);
    EXPECT_TRUE(document.at("b").at(3).is_bool());
    EXPECT_TRUE(document.at("b").at(2).is_uint64());
    EXPECT_EQ(kiv::prettyJson(document), R"({
  "b" : [
    1,
    -9223372036854775808,
    18446744073709551615,
    true,
    null,
    "\\\"\n\u0001/ü😀"
  ],
  "a" : {},
  "" : []
})");
    EXPECT_EQ(kiv::compactJson(
                  json::object{{"bad\xFF", "\xC3"}, {"none", std::numeric_limits<double>::quiet_NaN()}}),
              "{\"bad\uFFFD\":\"\uFFFD\",\"none\":null}");
}

TEST(Json, ComparesByValue) {
    const struct {
        std::string_view a;
        std::string_view b;
        bool equal;
    } cases[] = {{"[true, 1, [1.0]]", "[1.0, true, [1]]", true},
                 {"[false]", "[-0.0]", true},
                 {"[1]", "[\"1\"]", false},
                 {"[null]", "[0]", false},
                 {"[9007199254740993]", "[9007199254740992.0]", false},
                 {"[18446744073709551615]", "[-1]", false},
                 {"[18446744073709551615]", "[18446744073709551616.0]", false},
                 {"[9223372036854775808]", "[9223372036854775808.0]", true},
                 {"[-9223372036854775808]", "[-9223372036854775808.0]", true},
                 {R"({"a": 1, "b": {"c": []}})", R"({"b": {"c": []}, "a": true})", true},
                 {R"({"a": 1})", R"({"b": 1})", false},
                 {R"({"a": 1})", R"({"a": 1, "b": 1})", false},
                 {"{}", "[]", false},
                 {"[\"\\u00e9\"]", "[\"e\\u0301\"]", false}};
    for (const auto& [a, b, equal] : cases) {
        EXPECT_EQ(kiv::equalJson(parsed(a), parsed(b)), equal) << a << " " << b;
        EXPECT_EQ(kiv::equalJson(parsed(b), parsed(a)), equal) << b << " " << a;
    }
    const std::string deep = std::string(1000, '[') + std::string(1000, ']');
    EXPECT_TRUE(kiv::equalJson(parsed(deep), parsed(deep)));
    EXPECT_EQ(kiv::compactJson(parsed(deep)), deep);
}

} // namespace
