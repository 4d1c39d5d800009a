#include "Platform/Text/Dates.h"

#include <gtest/gtest.h>

namespace {

TEST(Dates, ParseOneFormatOnly) {
    const std::pair<std::string, std::string> inUtc[] = {
        {"2024-02-29T23:59:59.999Z", "2024-02-29T23:59:59.999Z"},
        {"2024-01-01T00:30:00.000+01:00", "2023-12-31T23:30:00.000Z"},
        {"2024-01-01T00:30:00.001+0000", "2024-01-01T00:30:00.001Z"},
        {"2024-12-31T20:00:00.000-0530", "2025-01-01T01:30:00.000Z"},
        {"1969-12-31T23:59:59.999Z", "1969-12-31T23:59:59.999Z"},
        {"0000-01-01T00:00:00.000Z", "0000-01-01T00:00:00.000Z"}};
    for (const auto& [text, expected] : inUtc) {
        const auto date = kiv::parseDate(text);
        ASSERT_TRUE(date) << text;
        EXPECT_EQ(kiv::dateText(*date), expected);
    }
    const std::string good = "2024-02-29T23:59:59.999+23:59";
    ASSERT_TRUE(kiv::parseDate(good));
    for (std::size_t at = 0; at < good.size(); ++at) {
        EXPECT_FALSE(kiv::parseDate(good.substr(0, at))) << at;
        for (const char foreign : {' ', 'z', '/', '\0'}) {
            std::string changed = good;
            changed[at] = foreign;
            EXPECT_FALSE(kiv::parseDate(changed)) << changed;
        }
    }
    for (const std::string& text : {good + "0", " " + good, std::string("2024-01-01T00:00:00.0000Z"),
                                    std::string("2024-01-01T00:00:00.000ZZ")}) {
        EXPECT_FALSE(kiv::parseDate(text)) << text;
    }
    const std::pair<std::size_t, std::string> outOfRange[] = {{0, "2023"}, {5, "00"},  {5, "13"},
                                                              {8, "00"},   {8, "30"},  {11, "24"},
                                                              {14, "60"},  {17, "60"}, {24, "24"}};
    for (const auto& [at, number] : outOfRange) {
        std::string changed = good;
        EXPECT_FALSE(kiv::parseDate(changed.replace(at, number.size(), number))) << changed;
    }
}

TEST(Dates, AreCutToMilliseconds) {
    EXPECT_EQ(kiv::dateText(KIVDate(std::chrono::microseconds(-1))), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(kiv::dateText(KIVDate(std::chrono::microseconds(1'999))), "1970-01-01T00:00:00.001Z");
}

} // namespace
