#include <thread>

#include <gtest/gtest.h>

#include "Runtime/KIVThreadDataUtils.h"

namespace {

using Utils = KIVThreadDataUtils;

TEST(ThreadDataUtils, KeepsStacksForEachThread) {
    std::jmp_buf first;
    std::jmp_buf second;
    Utils::pushJumpBuffer(first);
    Utils::pushJumpBuffer(second);
    Utils::pushTranslateSignalToException(true);
    Utils::pushSignalHandlingData({11, 1, {"main", "start"}});
    std::thread([] {
        EXPECT_EQ(Utils::popJumpBuffer(), nullptr);
        EXPECT_FALSE(Utils::shouldTranslateSignalToException());
        EXPECT_FALSE(Utils::popTranslateSignalToException());
        EXPECT_FALSE(Utils::popSignalHandlingData());
        Utils::pushTranslateSignalToException(false);
    }).join();
    EXPECT_EQ(Utils::popJumpBuffer(), &second);
    EXPECT_EQ(Utils::popJumpBuffer(), &first);
    EXPECT_TRUE(Utils::shouldTranslateSignalToException());
    Utils::pushTranslateSignalToException(false);
    EXPECT_FALSE(Utils::shouldTranslateSignalToException());
    EXPECT_EQ(Utils::popTranslateSignalToException(), false);
    EXPECT_EQ(Utils::popTranslateSignalToException(), true);
    const auto data = Utils::popSignalHandlingData();
    ASSERT_TRUE(data);
    EXPECT_EQ(data->signo(), 11);
    EXPECT_EQ(data->codeno(), 1);
    EXPECT_EQ(data->stackFrames(), (std::vector<std::string>{"main", "start"}));
}

} // namespace
