#include "Platform/Text/Text.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "Platform/Text/Json.h"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double largest = std::numeric_limits<double>::max();

TEST(Text, ReadsBooleans) {
    for (const char* text :
         {"t", "tea", "True", "yup", "Y", "1x", "-5", "+9", "007", "0yes", " \t\n00001", "\u00A0\u2003y"}) {
        EXPECT_TRUE(kiv::readBoolean(text)) << text;
    }
    for (const char* text :
         {"", "0x10", "0.5", "on", "ok", "no", "0", "- 5", "--5", "+", "  ", "\xC2", "\xFFy"}) {
        EXPECT_FALSE(kiv::readBoolean(text)) << text;
    }
    EXPECT_FALSE(kiv::readBoolean({}));
    EXPECT_FALSE(kiv::readBoolean(std::string_view("0001", 3))) << "reads past the end of the text";
}

TEST(Text, ReadsNumbersLeniently) {
    const struct {
        std::string_view text;
        std::int64_t integer;
        double real;
    } cases[] = {{"", 0, 0},
                 {".", 0, 0},
                 {".e5", 0, 0},
                 {"0x10", 0, 0},
                 {"inf", 0, 0},
                 {"+-5", 0, 0},
                 {" \r\n+12,5", 12, 12},
                 {"-007abc", -7, -7},
                 {" -.5.5", 0, -0.5},
                 {"+5.x", 5, 5},
                 {"1.2-beta", 1, 1.2},
                 {"1e3", 1, 1000},
                 {"1e", 1, 1},
                 {"12E-1", 12, 1.2},
                 {"1e999", 1, largest},
                 {"-1e99999999999999999999", -1, -largest},
                 {"1e-999", 1, 0},
                 {"0.0e99999999999999999999", 0, 0},
                 {"2147483648", 2147483648, 2147483648.0},
                 {"-2147483648", -2147483648, -2147483648.0},
                 {"9223372036854775808", INT64_MAX, 9223372036854775808.0},
                 {"-9223372036854775808x", INT64_MIN, -9223372036854775808.0},
                 {"-99999999999999999999999", INT64_MIN, -99999999999999999999999.0}};
    for (const auto& [text, integer, real] : cases) {
        EXPECT_EQ(kiv::readInteger(text), integer) << text;
        EXPECT_EQ(kiv::readInteger32(text), std::clamp<std::int64_t>(integer, INT32_MIN, INT32_MAX)) << text;
        EXPECT_EQ(kiv::readDouble(text), real) << text;
    }
    const std::string many = "0." + std::string(400, '0') + "1";
    EXPECT_EQ(kiv::readDouble(many), 0);
    EXPECT_EQ(kiv::readDouble(many + "e401"), 1);
}

TEST(Text, ParsesWholeNumbersOnly) {
    using kiv::Number;
    const struct {
        std::string_view text;
        std::optional<Number> number;
    } cases[] = {{"0", 0},
                 {"01", 1},
                 {"-.5", -0.5},
                 {"5.", 5.0},
                 {"1e3", 1000.0},
                 {"1E-2", 0.01},
                 {"9223372036854775807", INT64_MAX},
                 {"-9223372036854775808", INT64_MIN},
                 {"9223372036854775808", 9223372036854775808.0}};
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(kiv::parseNumber(text), number) << text;
    }
    for (const std::string_view text : {"", "+5", "1,000", "0x10", "5%", "1.2-beta", " 5", "5 ", "-", ".",
                                        "-.", "e5", "1e", "1e+", "--5", "1.2.3", "inf", "nan", "\u0665"}) {
        EXPECT_FALSE(kiv::parseNumber(text)) << text;
    }
}

TEST(Text, WritesDoublesPlainlyAndReadsThemBack) {
    EXPECT_EQ(kiv::doubleText(1.0), "1");
    EXPECT_EQ(kiv::doubleText(0.1), "0.1");
    EXPECT_EQ(kiv::doubleText(-1234.5), "-1234.5");
    EXPECT_EQ(kiv::doubleText(0.00005), "0.00005");
    EXPECT_EQ(kiv::doubleText(1e20), "100000000000000000000");
    EXPECT_EQ(kiv::doubleText(1e23), "100000000000000000000000");
    EXPECT_EQ(kiv::doubleText(100.0), "100");
    EXPECT_EQ(kiv::doubleText(0.0), "0");
    EXPECT_EQ(kiv::doubleText(-infinity), "-inf");
    EXPECT_EQ(kiv::parseJson("[-1.5E+3]")->at(0).as_double(), -1500);
    std::mt19937_64 random(3);
    for (int i = 0; i < 100'000; ++i) {
        const std::uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value)) {
            const std::string text = kiv::doubleText(value);
            ASSERT_EQ(kiv::readDouble(text), value) << text;
            ASSERT_EQ(kiv::parseJson('[' + text + ']')->at(0).to_number<double>(), value) << text;
            ASSERT_EQ(text.find_first_not_of("-.0123456789"), text.npos) << text;
            ASSERT_FALSE(text.find('.') != text.npos && text.back() == '0') << text;
        }
    }
}

TEST(Text, ComparesNumerically) {
    const struct {
        std::string_view a;
        std::string_view b;
        int order;
    } cases[] = {{"1.9", "1.10", -1},
                 {"01", "1", 0},
                 {"1.01", "1.1", 0},
                 {"-1", "1", -1},
                 {".5", "0.5", -1},
                 {"1.2", "1.2-b", -1},
                 {"", "0", -1},
                 {"", "", 0},
                 {"a10b", "a9c", 1},
                 {"00", "0", 0},
                 {"1a", "01b", -1},
                 {"é", "z", 1},
                 {"😀", "\uFFFD", 1},
                 {"0a", "0", 1},
                 {"99999999999999999999998", "99999999999999999999999", -1},
                 {"100000000000000000000", "99999999999999999999", 1}};
    for (const auto& [a, b, order] : cases) {
        EXPECT_EQ(kiv::compareNumerically(a, b), order) << a << " " << b;
        EXPECT_EQ(kiv::compareNumerically(b, a), -order) << b << " " << a;
    }
}

TEST(Text, RepairsUtf8) {
    const struct {
        std::string_view text;
        std::string_view repaired;
    } cases[] = {{"", ""},
                 {"Grüße 👋", "Grüße 👋"},
                 {"a\xFFz", "a\uFFFDz"},
                 {"\xC3", "\uFFFD"},
                 {"\xF0\x9F\x91", "\uFFFD"},
                 {"\xF0\x9F\x91z", "\uFFFDz"},
                 {"\xC0\x80", "\uFFFD\uFFFD"},
                 {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"}};
    for (const auto& [text, repaired] : cases) {
        EXPECT_EQ(kiv::repairUtf8(text), repaired) << text;
        EXPECT_EQ(kiv::isValidUtf8(text), text == repaired) << text;
    }
}

} // namespace
