#include <atomic>
#include <cstring>

#include "CInterface/CInterfaceFixture.h"
#include "Support/LoopbackServer.h"

namespace {

TEST_F(CInterface, ReadsFlagsOfEachType) {
    setUp({makeExperiment("shop.open", "true"), makeExperiment("shop.color", R"("green")"),
           makeExperiment("shop.retries", "9007199254740993"), makeExperiment("shop.discount", "0.5"),
           makeExperiment("made.open", "true"), makeExperiment("made.color", R"("red")"),
           makeExperiment("made.retries", "-7"), makeExperiment("made.discount", "1.5")});
    std::int32_t truth = -1;
    std::int64_t integer = 0;
    double real = 0;
    char text[16];
    std::size_t size = 0;
    EXPECT_EQ(kiv_flag_read_bool(open, nullptr, &truth), KIV_OK);
    EXPECT_EQ(truth, 1);
    EXPECT_EQ(kiv_flag_read_int(retries, nullptr, &integer), KIV_OK);
    EXPECT_EQ(integer, 9007199254740993);
    EXPECT_EQ(kiv_flag_read_double(discount, nullptr, &real), KIV_OK);
    EXPECT_EQ(real, 0.5);
    EXPECT_EQ(textOf(color), "green");

    // By name: a flag that is registered, one that the document knows, and one that nobody knows.
    EXPECT_EQ(kiv_read_int("shop.retries", zeroEnded, 1, nullptr, &integer), KIV_OK);
    EXPECT_EQ(integer, 9007199254740993);
    for (int round = 0; round < 2; ++round) { // the first makes the flags
        EXPECT_EQ(kiv_read_bool("made.open and more", 9, 0, nullptr, &truth), KIV_OK);
        EXPECT_EQ(truth, 1);
        EXPECT_EQ(kiv_read_int("made.retries", zeroEnded, 1, nullptr, &integer), KIV_OK);
        EXPECT_EQ(integer, -7);
        EXPECT_EQ(kiv_read_double("made.discount", zeroEnded, 0, nullptr, &real), KIV_OK);
        EXPECT_EQ(real, 1.5);
        EXPECT_EQ(kiv_read_text("made.color", zeroEnded, "x", 1, nullptr, text, sizeof(text), &size), KIV_OK);
        EXPECT_STREQ(text, "red");
        EXPECT_EQ(size, 3U);
        EXPECT_EQ(kiv_read_int("made.unknown", zeroEnded, round, nullptr, &integer), KIV_OK);
        EXPECT_EQ(integer, round);
    }

    kiv_flag* found = nullptr;
    EXPECT_EQ(kiv_flag_find("made.color", zeroEnded, &found), KIV_OK);
    EXPECT_EQ(textOf(found), "red");
    EXPECT_EQ(kiv_flag_free(found), KIV_OK);
    EXPECT_EQ(kiv_flag_find("made.never", zeroEnded, &found), KIV_NOT_FOUND);
}

TEST_F(CInterface, GivesATextThatDidNotFitWithoutReadingAgain) {
    int impressions = 0;
    kiv_options all = options({makeExperiment("shop.color", R"("a longer text")")});
    all.impression = [](void* user, const kiv_impression*) { ++*static_cast<int*>(user); };
    all.impression_user = &impressions;
    ASSERT_EQ(kiv_setup(key.c_str(), zeroEnded, &all), KIV_OK);
    char text[14] = "untouched";
    std::size_t size = 0;
    EXPECT_EQ(kiv_flag_read_text(color, nullptr, text, 13, &size), KIV_BUFFER_TOO_SMALL)
        << "no room for the zero";
    EXPECT_EQ(size, 13U);
    EXPECT_STREQ(text, "untouched");
    EXPECT_EQ(kiv_take_text(nullptr, 0, &size), KIV_BUFFER_TOO_SMALL) << "it is kept on";
    EXPECT_EQ(kiv_take_text(text, sizeof(text), &size), KIV_OK);
    EXPECT_STREQ(text, "a longer text");
    EXPECT_EQ(kiv_take_text(text, sizeof(text), &size), KIV_NOT_FOUND);
    EXPECT_EQ(impressions, 1);
}

TEST_F(CInterface, EvaluatesPropertiesOfAllKinds) {
    kiv::json::array experiments;
    const std::pair<const char*, const char*> conditions[] = {
        {"text", R"(eq(property("text"), "ünï"))"},
        {"semver", R"(semverGt(property("semver"), "2.9.0"))"},
        {"bool", R"(property("bool"))"},
        {"int", R"(eq(property("int"), -2147483648))"},
        {"double", R"(eq(property("double"), 0.125))"},
        {"date", R"(eq(tsToNum(property("date")), 1))"},
        {"text2", R"(eq(property("text2"), "ünï"))"},
        {"semver2", R"(semverGt(property("semver2"), "2.9.0"))"},
        {"bool2", R"(property("bool2"))"},
        {"int2", R"(eq(property("int2"), -2147483648))"},
        {"double2", R"(eq(property("double2"), 0.125))"},
        {"date2", R"(eq(tsToNum(property("date2")), 1))"},
        {"none2", R"(isUndefined(property("none2")))"}};
    for (const auto& [name, condition] : conditions) {
        experiments.push_back(makeExperiment(std::string("p.") + name, condition));
    }
    setUp(experiments);
    EXPECT_EQ(kiv_set_text_property("text", zeroEnded, "ünï!", 5), KIV_OK);
    EXPECT_EQ(kiv_set_semver_property("semver", zeroEnded, "2.10.0", zeroEnded), KIV_OK);
    EXPECT_EQ(kiv_set_bool_property("bool", zeroEnded, 7), KIV_OK);
    EXPECT_EQ(kiv_set_int_property("int", zeroEnded, INT32_MIN), KIV_OK);
    EXPECT_EQ(kiv_set_double_property("double", zeroEnded, 0.125), KIV_OK);
    EXPECT_EQ(kiv_set_date_property("date", zeroEnded, 1'500'000), KIV_OK);
    static const std::pair<const char*, std::pair<kiv_kind, kiv_value>> computed[] = {
        {"text2", {KIV_TEXT, cTextValue("ünï")}},
        {"semver2", {KIV_SEMVER, cTextValue("2.10.0")}},
        {"bool2", {KIV_BOOL, cBool(true)}},
        {"int2", {KIV_INT, cInt(INT32_MIN)}},
        {"double2", {KIV_DOUBLE, cDouble(0.125)}},
        {"date2", {KIV_DATE, {.kind = KIV_DATE, .integer = 1'500'000}}},
        {"none2", {KIV_TEXT, {}}},
    };
    for (const auto& [name, answer] : computed) {
        const auto function = [](void* user, const char* flag, std::size_t flagSize, const kiv_context*,
                                 kiv_answer* asked) {
            EXPECT_EQ(std::string_view(flag, flagSize).substr(0, 2), "p.");
            EXPECT_EQ(kiv_answer_with(asked, static_cast<const kiv_value*>(user)), KIV_OK)
                << kiv_error_text();
        };
        EXPECT_EQ(kiv_set_computed_property(name, zeroEnded, answer.first, function,
                                            const_cast<kiv_value*>(&answer.second), nullptr),
                  KIV_OK);
    }
    for (const auto& [name, condition] : conditions) {
        std::int32_t isTrue = 0;
        EXPECT_EQ(kiv_read_bool(("p." + std::string(name)).c_str(), zeroEnded, 0, nullptr, &isTrue), KIV_OK);
        EXPECT_EQ(isTrue, 1) << name;
    }
}

TEST_F(CInterface, ReadsWithContextsAndTheRule) {
    kiv_options all = options({makeExperiment("shop.color", R"(property("who"))"),
                               makeExperiment("shop.open", R"(eq(property("number"), 2.5))")});
    all.rule = [](void*, const char* name, std::size_t size, const kiv_context* context, kiv_answer* answer) {
        kiv_value value;
        char buffer[8];
        if (kiv_context_get(context, name, size, &value, buffer, sizeof(buffer)) == KIV_OK) {
            EXPECT_EQ(kiv_answer_with(answer, &value), KIV_OK);
        }
    };
    ASSERT_EQ(kiv_setup(key.c_str(), zeroEnded, &all), KIV_OK);
    kiv_context* ann = contextOf({{cText("who"), cTextValue("bob")},
                                  {cText("who"), cTextValue("ann")},
                                  {cText("number"), cDouble(2.5)},
                                  {cText("nothing"), {}}});
    kiv_context* eve = contextOf({{cText("who"), cTextValue("eve")}});
    std::int32_t isOpen = 0;
    EXPECT_EQ(textOf(color), "blue") << "no value, so the default";
    EXPECT_EQ(textOf(color, ann), "ann");
    EXPECT_EQ(kiv_flag_read_bool(open, ann, &isOpen), KIV_OK);
    EXPECT_EQ(isOpen, 1);

    EXPECT_EQ(kiv_set_global_context(eve), KIV_OK);
    EXPECT_EQ(kiv_context_free(eve), KIV_OK);
    EXPECT_EQ(textOf(color, ann), "eve") << "a global value wins, also when the handle is freed";
    EXPECT_EQ(kiv_set_global_context(nullptr), KIV_OK);
    EXPECT_EQ(textOf(color, ann), "ann");

    kiv_value value;
    EXPECT_EQ(kiv_context_get(ann, "nothing", zeroEnded, &value, nullptr, 0), KIV_NOT_FOUND);
    EXPECT_EQ(kiv_context_get(ann, "who", zeroEnded, &value, nullptr, 0), KIV_BUFFER_TOO_SMALL);
    EXPECT_EQ(value.text.size, 3U);
    kiv_context_free(ann);
}

TEST_F(CInterface, OverridesPeeksAndFreezes) {
    EXPECT_EQ(kiv_override_set("shop.color", zeroEnded, "x", 1), KIV_NOT_SET_UP);
    setUp({makeExperiment("shop.color", R"("green")"), makeExperiment("shop.frozen", R"(property("now"))")});
    char text[16];
    EXPECT_EQ(kiv_override_set("shop.color", zeroEnded, "mine", zeroEnded), KIV_OK);
    EXPECT_EQ(textOf(color), "mine");
    EXPECT_EQ(kiv_override_get("shop.color", zeroEnded, text, sizeof(text), nullptr), KIV_OK);
    EXPECT_STREQ(text, "mine");
    EXPECT_EQ(kiv_flag_peek(color, text, sizeof(text), nullptr), KIV_OK);
    EXPECT_STREQ(text, "mine");
    EXPECT_EQ(kiv_flag_original(color, text, sizeof(text), nullptr), KIV_OK);
    EXPECT_STREQ(text, "green");
    EXPECT_EQ(kiv_override_clear("shop.color", zeroEnded), KIV_OK);
    EXPECT_EQ(kiv_override_get("shop.color", zeroEnded, text, sizeof(text), nullptr), KIV_NOT_FOUND);
    EXPECT_EQ(textOf(color), "green");

    std::int32_t isFrozen = -1;
    kiv_set_text_property("now", zeroEnded, "one", zeroEnded);
    EXPECT_EQ(kiv_peek("shop.frozen", zeroEnded, text, sizeof(text), nullptr), KIV_OK);
    EXPECT_EQ(kiv_flag_is_frozen(frozen, &isFrozen), KIV_OK);
    EXPECT_EQ(isFrozen, 0) << "a peek does not freeze";
    EXPECT_EQ(textOf(frozen), "one");
    kiv_set_text_property("now", zeroEnded, "two", zeroEnded);
    EXPECT_EQ(textOf(frozen), "one");
    EXPECT_EQ(kiv_flag_is_frozen(frozen, &isFrozen), KIV_OK);
    EXPECT_EQ(isFrozen, 1);
    EXPECT_EQ(kiv_unfreeze_namespace("other", zeroEnded), KIV_OK);
    EXPECT_EQ(textOf(frozen), "one");
    EXPECT_EQ(kiv_unfreeze_namespace("shop", zeroEnded), KIV_OK);
    EXPECT_EQ(textOf(frozen), "two");
}

TEST_F(CInterface, TellsOfImpressionsAndFetches) {
    struct Heard {
        std::string impression;
        std::vector<kiv_fetch_result> fetches;
    } heard;
    kiv_options all = options({makeExperiment("shop.color", R"("green")")});
    all.impression = [](void* user, const kiv_impression* impression) {
        kiv_value value;
        char who[8] = "";
        if (impression->context) {
            EXPECT_EQ(kiv_context_get(impression->context, "who", zeroEnded, &value, who, sizeof(who)),
                      KIV_OK);
        }
        static_cast<Heard*>(user)->impression = std::string(impression->name.data, impression->name.size) +
                                                "=" +
                                                std::string(impression->value.data, impression->value.size) +
                                                (impression->targeting ? "!" : "") + who;
    };
    all.impression_user = &heard;
    all.fetched = [](void* user, const kiv_fetch_result* result) {
        static_cast<Heard*>(user)->fetches.push_back(*result);
    };
    all.fetched_user = &heard;
    ASSERT_EQ(kiv_setup(key.c_str(), zeroEnded, &all), KIV_OK);
    ASSERT_EQ(heard.fetches.size(), 1U);
    EXPECT_EQ(heard.fetches[0].size, sizeof(kiv_fetch_result));
    EXPECT_EQ(heard.fetches[0].source, 1);
    EXPECT_EQ(heard.fetches[0].has_date, 1);
    EXPECT_EQ(heard.fetches[0].date, 1'769'860'800'000'000) << "2026-01-31T12:00:00Z";
    EXPECT_EQ(heard.fetches[0].error.data, nullptr);
    EXPECT_EQ(kiv_state(), 2U);
    textOf(color);
    EXPECT_EQ(heard.impression, "shop.color=green!");
    kiv_context* context = contextOf({{cText("who"), cTextValue("ann")}});
    textOf(frozen, context);
    EXPECT_EQ(heard.impression, "shop.frozen=noneann");
    kiv_context_free(context);
}

TEST_F(CInterface, ReportsCallbacksThatFail) {
    // The handler of fetches also fails on the work thread, when the fetch after the setup ends.
    struct Errors {
        std::atomic<int> ofFetches = 0;
        std::vector<std::string> others;
    };
    static Errors errors; // the work thread may still write to it when the test ends
    ASSERT_EQ(kiv_set_error_handler(
                  [](void* user, std::uint32_t source, const char* name, std::size_t nameSize,
                     const char* reason, std::size_t reasonSize) {
                      auto& known = *static_cast<Errors*>(user);
                      const std::string error = std::to_string(source) + " " + std::string(name, nameSize) +
                                                " " + std::string(reason, reasonSize);
                      if (error == "1 CallbackFailure fetched") {
                          ++known.ofFetches;
                      } else {
                          known.others.push_back(error);
                      }
                  },
                  &errors, nullptr),
              KIV_OK);
    kiv_options all = options({makeExperiment("shop.color", R"(property("thrown"))"),
                               makeExperiment("shop.open", R"(property("told"))"),
                               makeExperiment("shop.retries", R"(property("silent"))")});
    all.impression = [](void*, const kiv_impression*) { throw std::runtime_error("impression"); };
    all.fetched = [](void*, const kiv_fetch_result*) { kiv_callback_failed("fetched", zeroEnded); };
    ASSERT_EQ(kiv_setup(key.c_str(), zeroEnded, &all), KIV_OK);
    kiv_set_computed_property(
        "thrown", zeroEnded, KIV_TEXT,
        [](void*, const char*, std::size_t, const kiv_context*, kiv_answer*) { throw 7; }, nullptr, nullptr);
    kiv_set_computed_property(
        "told", zeroEnded, KIV_BOOL,
        [](void*, const char*, std::size_t, const kiv_context*, kiv_answer* answer) {
            const kiv_value value = cBool(true);
            EXPECT_EQ(kiv_answer_with(answer, &value), KIV_OK);
            EXPECT_EQ(kiv_callback_failed("told", 4), KIV_OK);
        },
        nullptr, nullptr);
    kiv_set_computed_property(
        "silent", zeroEnded, KIV_INT,
        [](void*, const char*, std::size_t, const kiv_context*, kiv_answer* answer) {
            const kiv_value values[] = {cInt(INT64_C(1) << 31), cTextValue("4"), {.kind = 99}};
            for (const kiv_value& value : values) {
                EXPECT_EQ(kiv_answer_with(answer, &value), KIV_INVALID_ARGUMENT);
            }
        },
        nullptr, nullptr);
    EXPECT_EQ(textOf(color), "blue");
    std::int32_t truth = 1;
    std::int64_t integer = 0;
    EXPECT_EQ(kiv_flag_read_bool(open, nullptr, &truth), KIV_OK);
    EXPECT_EQ(truth, 0) << "the default, because the callback failed after its answer";
    EXPECT_EQ(kiv_flag_read_int(retries, nullptr, &integer), KIV_OK);
    EXPECT_EQ(integer, 3);
    const std::string impression = "2 std::exception impression";
    EXPECT_GE(errors.ofFetches, 1);
    EXPECT_EQ(errors.others,
              (std::vector<std::string>{"3 unknown an exception of another type", impression,
                                        "3 CallbackFailure told", impression,
                                        "3 CallbackFailure the callback gave no answer", impression}));
    kiv_set_error_handler(nullptr, nullptr, nullptr); // what it writes to goes
}

TEST_F(CInterface, PresentsTheFlagsScreen) {
    char address[256];
    char again[256];
    const kiv_status before = kiv_screen_present(address, sizeof(address), nullptr);
    if (before == KIV_UNAVAILABLE) {
        GTEST_SKIP() << "built without the page";
    }
    EXPECT_EQ(before, KIV_NOT_SET_UP);
    setUp({});
    ASSERT_EQ(kiv_screen_present(address, sizeof(address), nullptr), KIV_OK) << kiv_error_text();
    EXPECT_TRUE(std::string_view(address).starts_with("http://127.0.0.1:")) << address;
    EXPECT_EQ(kiv_screen_present(again, sizeof(again), nullptr), KIV_OK);
    EXPECT_STREQ(again, address);
    EXPECT_EQ(kiv_screen_dismiss(), KIV_OK);
    EXPECT_EQ(kiv_screen_present(again, sizeof(again), nullptr), KIV_OK);
    EXPECT_STRNE(again, address);
    EXPECT_EQ(kiv_shutdown(), KIV_OK);
    EXPECT_EQ(kiv_screen_present(again, sizeof(again), nullptr), KIV_UNAVAILABLE) << "until the next setup";
}

} // namespace
