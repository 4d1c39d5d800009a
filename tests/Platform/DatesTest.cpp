#include "Platform/Dates.h"

#include <gtest/gtest.h>

namespace {

TEST(Dates, ParseOneFormatOnly) {
    const struct {
        std::string_view text;
        std::string_view inUtc;
    } cases[] = {{"2024-02-29T23:59:59.999Z", "2024-02-29T23:59:59.999Z"},
                 {"2024-01-01T00:30:00.000+01:00", "2023-12-31T23:30:00.000Z"},
                 {"2024-01-01T00:30:00.001+0000", "2024-01-01T00:30:00.001Z"},
                 {"2024-12-31T20:00:00.000-0530", "2025-01-01T01:30:00.000Z"},
                 {"1969-12-31T23:59:59.999Z", "1969-12-31T23:59:59.999Z"},
                 {"0000-01-01T00:00:00.000Z", "0000-01-01T00:00:00.000Z"}};
    for (const auto& [text, inUtc] : cases) {
        const auto date = kiv::parseDate(text);
        ASSERT_TRUE(date) << text;
        EXPECT_EQ(kiv::dateText(*date), inUtc);
    }
    for (const std::string_view text : {"",
                                        "2024-01-01",
                                        "2024-01-01T00:00:00Z",
                                        "2024-01-01T00:00:00.00Z",
                                        "2024-01-01T00:00:00.0000Z",
                                        "2024-01-01T00:00:00.000",
                                        "2024-01-01T00:00:00.000z",
                                        "2024-01-01T00:00:00.000+1",
                                        "2024-01-01T00:00:00.000+00:",
                                        "2024-01-01T00:00:00.000+2400",
                                        "2024-01-01T00:00:00.000ZZ",
                                        " 2024-01-01T00:00:00.000Z",
                                        "2024-1-01T00:00:00.000Z",
                                        "2024-02-30T00:00:00.000Z",
                                        "2023-02-29T00:00:00.000Z",
                                        "2024-13-01T00:00:00.000Z",
                                        "2024-00-01T00:00:00.000Z",
                                        "2024-01-00T00:00:00.000Z",
                                        "2024-01-01T24:00:00.000Z",
                                        "2024-01-01T00:60:00.000Z",
                                        "2024-01-01T00:00:60.000Z",
                                        "2024-01-01 00:00:00.000Z",
                                        "2024-01-01T00:00:00,000Z",
                                        "+024-01-01T00:00:00.000Z",
                                        "2024-01-01T-1:00:00.000Z"}) {
        EXPECT_FALSE(kiv::parseDate(text)) << text;
    }
}

TEST(Dates, AreCutToMilliseconds) {
    EXPECT_EQ(kiv::dateText(KIVDate(std::chrono::microseconds(-1))), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(kiv::dateText(KIVDate(std::chrono::microseconds(1'999))), "1970-01-01T00:00:00.001Z");
}

} // namespace
