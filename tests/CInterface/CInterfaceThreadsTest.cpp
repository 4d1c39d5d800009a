#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CInterface/CInterfaceFixture.h"
#include "Support/Threads.h"

namespace {

TEST_F(CInterface, IsReadWhileItIsShutDownAndContextsAreFreed) {
    setUp({makeExperiment("shop.color", R"(property("who"))")});
    std::atomic<kiv_context*> shared = contextOf({{cText("who"), cTextValue("ann")}});
    std::atomic<int> reads = 0;
    const auto read = [&] {
        char text[16];
        const kiv_status status = kiv_flag_read_text(color, shared, text, sizeof(text), nullptr);
        const std::string_view given = status == KIV_OK ? text : "freed";
        EXPECT_TRUE(given == "ann" || given == "blue" || status == KIV_INVALID_HANDLE) << given;
        std::int32_t isNew = 0;
        EXPECT_EQ(kiv_read_bool("made.by.read", zeroEnded, 1, nullptr, &isNew), KIV_OK);
        EXPECT_EQ(isNew, 1);
        ++reads;
    };
    besideThreads(3, read, [&] {
        for (int round = 0; round < 200; ++round) {
            kiv_context* former = shared.exchange(contextOf({{cText("who"), cTextValue("ann")}}));
            EXPECT_EQ(kiv_context_free(former), KIV_OK);
        }
        EXPECT_EQ(kiv_shutdown(), KIV_OK);
        const int before = reads;
        EXPECT_TRUE(eventually([&] { return reads > before + 10; }));
    });
    kiv_context_free(shared);
}

TEST_F(CInterface, LetsACallbackEndItsThread) {
    setUp({makeExperiment("shop.color", R"(property("ending"))")});
    kiv_set_computed_property(
        "ending", zeroEnded, KIV_TEXT,
        [](void*, const char*, std::size_t, const kiv_context*, kiv_answer*) { pthread_exit(nullptr); },
        nullptr, nullptr);
    std::thread([&] {
        char text[2];
        EXPECT_EQ(kiv_current_key(text, sizeof(text), nullptr), KIV_BUFFER_TOO_SMALL)
            << "the thread keeps a text";
        textOf(color);
        ADD_FAILURE() << "the thread has not ended";
    }).join();
    EXPECT_EQ(kiv_set_text_property("ending", zeroEnded, "over", zeroEnded), KIV_OK);
    EXPECT_EQ(textOf(color), "over");
}

TEST_F(CInterface, KeepsErrorsAndTextsOfThreadsApart) {
    setUp({makeExperiment("shop.color", R"("green")")});
    onThreads(4, [&](int number) {
        const std::string name = "thread." + std::to_string(number);
        const std::string value = "a value of thread " + std::to_string(number);
        for (int round = 0; round < 20; ++round) {
            char text[64] = "";
            EXPECT_EQ(kiv_override_set(name.c_str(), zeroEnded, value.c_str(), zeroEnded), KIV_OK);
            EXPECT_EQ(kiv_override_get(name.c_str(), zeroEnded, nullptr, 0, nullptr), KIV_BUFFER_TOO_SMALL);
            EXPECT_EQ(kiv_take_text(text, sizeof(text), nullptr), KIV_OK);
            EXPECT_EQ(text, value);
            EXPECT_EQ(kiv_register("shop", zeroEnded, nullptr, 0, nullptr), KIV_INVALID_NAMESPACE);
            EXPECT_TRUE(errorHas("'shop'"));
        }
    });
}

TEST_F(CInterface, GoesOnInAChild) {
    setUp({makeExperiment("shop.color", R"(property("who"))")});
    kiv_context* context = contextOf({{cText("who"), cTextValue("ann")}});
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        const bool isSilent = textOf(color, context) == "ann" && kiv_fetch() == KIV_OK;
        const bool resumes = kiv_resume_after_fork() == KIV_OK && kiv_state() == 2;
        const bool goesOn = kiv_set_text_property("who", zeroEnded, "child", zeroEnded) == KIV_OK &&
                            textOf(color) == "child" && kiv_context_free(context) == KIV_OK;
        _exit(isSilent && resumes && goesOn && !HasFailure() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(textOf(color, context), "ann");
    kiv_context_free(context);
}

} // namespace
