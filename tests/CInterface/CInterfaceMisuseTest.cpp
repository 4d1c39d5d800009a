#include <cmath>
#include <functional>

#include "CInterface/CInterfaceFixture.h"

namespace {

constexpr const char* notUtf8 = "\xC3(";

kiv_declaration declarationOf(const char* name, const kiv_value& value) {
    return {.size = sizeof(kiv_declaration), .name = cText(name), .default_value = value};
}

TEST_F(CInterface, RefusesWhatIsNoArgument) {
    setUp({makeExperiment("shop.color", R"("green")")});
    char buffer[8];
    std::int32_t truth = 0;
    std::int64_t integer = 0;
    kiv_context* context = nullptr;
    kiv_flag* flag = nullptr;
    const kiv_value wrongKind{.kind = 42};
    const kiv_entry wrongEntry{cText("a"), {.kind = KIV_TEXT, .text = cText(notUtf8)}};
    const auto compute = [](void*, const char*, std::size_t, const kiv_context*, kiv_answer*) {};
    kiv_options options{.size = sizeof(kiv_options)};
    kiv_endpoints endpoints{.size = 3};
    const struct {
        kiv_status expected;
        const char* words;
        std::function<kiv_status()> call;
    } cases[] = {
        {KIV_INVALID_ARGUMENT, "name is null", [&] { return kiv_read_bool(nullptr, 0, 1, nullptr, &truth); }},
        {KIV_INVALID_ARGUMENT, "value is null", [&] { return kiv_read_bool("a", 1, 1, nullptr, nullptr); }},
        {KIV_INVALID_ARGUMENT, "value is null", [&] { return kiv_flag_read_int(retries, nullptr, nullptr); }},
        {KIV_INVALID_ARGUMENT, "flag is null", [&] { return kiv_flag_read_int(nullptr, nullptr, &integer); }},
        {KIV_INVALID_ARGUMENT, "buffer is null",
         [&] { return kiv_flag_read_text(color, nullptr, nullptr, 1, nullptr); }},
        {KIV_INVALID_ARGUMENT, "default is null",
         [&] { return kiv_read_text("a", 1, nullptr, 0, nullptr, buffer, 8, nullptr); }},
        {KIV_INVALID_ARGUMENT, "key is null", [&] { return kiv_setup(nullptr, 0, nullptr); }},
        {KIV_INVALID_ARGUMENT, "host is null", [&] { return kiv_configure_host(nullptr); }},
        {KIV_INVALID_ARGUMENT, "entries is null", [&] { return kiv_context_create(nullptr, 1, &context); }},
        {KIV_INVALID_ARGUMENT, "context is null", [&] { return kiv_context_create(nullptr, 0, nullptr); }},
        {KIV_INVALID_ARGUMENT, "context is null", [&] { return kiv_context_free(nullptr); }},
        {KIV_INVALID_ARGUMENT, "flag is null", [&] { return kiv_flag_free(nullptr); }},
        {KIV_INVALID_ARGUMENT, "flag is null", [&] { return kiv_flag_find("a", 1, nullptr); }},
        {KIV_INVALID_ARGUMENT, "function is null",
         [&] { return kiv_set_computed_property("a", 1, KIV_INT, nullptr, nullptr, nullptr); }},
        {KIV_INVALID_ARGUMENT, "kind 42",
         [&] { return kiv_set_computed_property("a", 1, 42, compute, nullptr, nullptr); }},
        {KIV_INVALID_ARGUMENT, "empty", [&] { return kiv_set_int_property("", 0, 1); }},
        {KIV_INVALID_ARGUMENT, "answer is null", [&] { return kiv_answer_with(nullptr, &wrongKind); }},
        {KIV_INVALID_ARGUMENT, "no callback", [&] { return kiv_callback_failed("a", 1); }},
        {KIV_INVALID_ARGUMENT, "kind 42",
         [&] {
             const kiv_entry entry{cText("a"), wrongKind};
             return kiv_context_create(&entry, 1, &context);
         }},
        {KIV_INVALID_ARGUMENT, "no number",
         [&] {
             double real = 0;
             return kiv_read_double("a", 1, NAN, nullptr, &real);
         }},
        {KIV_INVALID_ARGUMENT, "freeze level 5",
         [&] {
             options.default_freeze = 5;
             return kiv_setup(key.c_str(), zeroEnded, &options);
         }},
        {KIV_INVALID_TEXT, "name is not UTF-8", [&] { return kiv_set_int_property(notUtf8, zeroEnded, 1); }},
        {KIV_INVALID_TEXT, "value is not UTF-8",
         [&] { return kiv_set_text_property("a", 1, notUtf8, zeroEnded); }},
        {KIV_INVALID_TEXT, "name is not UTF-8",
         [&] { return kiv_read_bool(notUtf8, zeroEnded, 1, nullptr, &truth); }},
        {KIV_INVALID_TEXT, "entry is not UTF-8",
         [&] { return kiv_context_create(&wrongEntry, 1, &context); }},
        {KIV_INVALID_TEXT, "override's value is not UTF-8",
         [&] { return kiv_override_set("shop.color", zeroEnded, notUtf8, 2); }},
        {KIV_INVALID_SIZE, "kiv_endpoints has the size 3",
         [&] {
             options = {.size = sizeof(kiv_options), .endpoints = &endpoints};
             return kiv_setup(key.c_str(), zeroEnded, &options);
         }},
        {KIV_INVALID_SIZE, "kiv_options has the size 0",
         [&] {
             options.size = 0;
             return kiv_setup(key.c_str(), zeroEnded, &options);
         }},
        {KIV_INVALID_SIZE, "kiv_host has the size",
         [&] {
             const kiv_host host{.size = sizeof(kiv_host) + 1};
             return kiv_configure_host(&host);
         }},
        {KIV_INVALID_KEY, "valid apiKey", [&] { return kiv_setup("nonsense", zeroEnded, nullptr); }},
        {KIV_NOT_FOUND, "no flag", [&] { return kiv_peek("a.b", zeroEnded, buffer, 8, nullptr); }},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(one.call(), one.expected) << one.words;
        EXPECT_TRUE(errorHas(one.words));
    }
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(flag, nullptr);
    EXPECT_EQ(truth, 1) << "a read that fails gives the default";
    EXPECT_EQ(textOf(color), "green");
    EXPECT_STREQ(kiv_status_name(KIV_INTERNAL_ERROR), "KIV_INTERNAL_ERROR");
    EXPECT_STREQ(kiv_status_name(13), "unknown status");
    EXPECT_STREQ(kiv_status_name(-1), "unknown status");
}

TEST_F(CInterface, RefusesDeclarationsWithoutTakingTheNamespace) {
    const kiv_value mixed[] = {cTextValue("a"), cInt(1)};
    kiv_declaration variations = declarationOf("a", cTextValue("a"));
    variations.variations = mixed;
    variations.variation_count = 2;
    kiv_declaration truth = declarationOf("a", cBool(true));
    truth.variations = mixed;
    truth.variation_count = 1;
    kiv_declaration level = declarationOf("a", cInt(1));
    level.freeze = -1;
    kiv_declaration size = declarationOf("a", cInt(1));
    size.size = 8;
    kiv_declaration missing = variations;
    missing.variations = nullptr;
    const std::pair<kiv_declaration, const char*> cases[] = {
        {variations, "another kind"},
        {truth, "no variations"},
        {level, "freeze level -1"},
        {size, "has the size 8"},
        {missing, "variations is null"},
        {declarationOf("", cInt(1)), "empty"},
        {declarationOf(" a", cInt(1)), "white space"},
        {declarationOf(nullptr, cInt(1)), "name of a flag is null"},
        {declarationOf("ok", cInt(1)), "two flags"},
        {declarationOf("a", cInt(INT64_C(1) << 31)), "32 bits"},
        {declarationOf("a", cDouble(INFINITY)), "infinite"},
        {declarationOf("a", {}), "kind 0"},
        {declarationOf("a", cTextValue(notUtf8)), "not UTF-8"},
    };
    kiv_flag* made[2] = {};
    for (const auto& [wrong, words] : cases) {
        const kiv_declaration both[] = {declarationOf("ok", cInt(1)), wrong};
        EXPECT_NE(kiv_register("new", zeroEnded, both, 2, made), KIV_OK);
        EXPECT_TRUE(errorHas(words));
    }
    EXPECT_EQ(made[0], nullptr);
    EXPECT_EQ(kiv_register(nullptr, 0, nullptr, 0, nullptr), KIV_INVALID_ARGUMENT);
    EXPECT_EQ(kiv_register("new", zeroEnded, nullptr, 1, nullptr), KIV_INVALID_ARGUMENT);
    const kiv_declaration good = declarationOf("ok", cInt(1));
    EXPECT_EQ(kiv_register("new", zeroEnded, &good, 1, made), KIV_OK) << kiv_error_text();
    EXPECT_EQ(kiv_register("new", zeroEnded, &good, 1, made), KIV_INVALID_NAMESPACE);
    EXPECT_TRUE(errorHas("'new'"));
}

TEST_F(CInterface, RefusesHandlesThatAreNotValid) {
    kiv_context* context = contextOf({});
    kiv_flag* flag = nullptr;
    ASSERT_EQ(kiv_flag_find("shop.color", zeroEnded, &flag), KIV_OK);
    EXPECT_NE(flag, color);
    EXPECT_EQ(kiv_flag_free(flag), KIV_OK);
    EXPECT_EQ(kiv_context_free(context), KIV_OK);
    kiv_flag* next = nullptr;
    ASSERT_EQ(kiv_flag_find("shop.color", zeroEnded, &next), KIV_OK);
    EXPECT_NE(next, flag) << "a handle never becomes another's";

    int strange = 0;
    char buffer[8];
    const std::uintptr_t numbers[] = {1,
                                      64,
                                      UINTPTR_MAX,
                                      std::uintptr_t{1} << 60,
                                      (std::uintptr_t{1} << 60) + 7,
                                      (std::uintptr_t{2} << 60) | UINT32_MAX,
                                      reinterpret_cast<std::uintptr_t>(&strange),
                                      reinterpret_cast<std::uintptr_t>(flag),
                                      reinterpret_cast<std::uintptr_t>(context)};
    for (const std::uintptr_t number : numbers) {
        EXPECT_EQ(kiv_flag_read_text(reinterpret_cast<kiv_flag*>(number), nullptr, buffer, 8, nullptr),
                  KIV_INVALID_HANDLE);
        EXPECT_EQ(kiv_flag_free(reinterpret_cast<kiv_flag*>(number)), KIV_INVALID_HANDLE);
        EXPECT_EQ(kiv_context_free(reinterpret_cast<kiv_context*>(number)), KIV_INVALID_HANDLE);
        EXPECT_EQ(kiv_flag_read_text(color, reinterpret_cast<kiv_context*>(number), buffer, 8, nullptr),
                  KIV_INVALID_HANDLE);
        const kiv_value value = cInt(1);
        EXPECT_EQ(kiv_answer_with(reinterpret_cast<kiv_answer*>(number), &value), KIV_INVALID_HANDLE);
    }
    EXPECT_EQ(textOf(next), "blue");
}

// More contexts than the first slots hold, each freed in turn, and what a callback got kept after it.
TEST_F(CInterface, TellsManyHandlesApart) {
    setUp({makeExperiment("shop.color", R"(property("number"))")});
    struct Kept {
        const kiv_context* context = nullptr;
        kiv_answer* answer = nullptr;
    } kept;
    kiv_set_computed_property(
        "seen", zeroEnded, KIV_TEXT,
        [](void* user, const char*, std::size_t, const kiv_context* context, kiv_answer* answer) {
            *static_cast<Kept*>(user) = {context, answer};
        },
        &kept, nullptr);
    std::vector<kiv_context*> contexts;
    for (std::size_t i = 0; i < 1000; ++i) {
        contexts.push_back(contextOf({{cText("number"), cTextValue(std::to_string(i).c_str())}}));
        if (i % 3 == 0) {
            EXPECT_EQ(kiv_context_free(contexts[i / 3 * 2]), KIV_OK) << i;
            contexts[i / 3 * 2] = nullptr;
        }
    }
    for (std::size_t i = 0; i < contexts.size(); ++i) {
        if (contexts[i]) {
            EXPECT_EQ(textOf(color, contexts[i]), std::to_string(i));
            EXPECT_EQ(kiv_context_free(contexts[i]), KIV_OK);
        }
    }
    kiv_shutdown();
    kiv_options all = options({makeExperiment("shop.open", R"(property("seen"))")});
    all.disable_signature_verification = 1;
    const std::string uuid = "0ac4f5e6-1111-2222-3333-0123456789ab";
    kiv::writeFile(path,
                   signer.sign(makePayload(uuid, {makeExperiment("shop.open", R"(property("seen"))")})));
    ASSERT_EQ(kiv_setup(uuid.c_str(), zeroEnded, &all), KIV_OK);
    std::int32_t truth = 0;
    EXPECT_EQ(kiv_flag_read_bool(open, nullptr, &truth), KIV_OK);
    ASSERT_NE(kept.answer, nullptr);
    const kiv_value value = cTextValue("late");
    EXPECT_EQ(kiv_answer_with(kept.answer, &value), KIV_INVALID_HANDLE);
    EXPECT_EQ(kiv_flag_read_bool(open, kept.context, &truth), KIV_INVALID_HANDLE);
}

TEST_F(CInterface, DestroysUserPointersOnceAndOnlyWhenTheyWereTaken) {
    const auto compute = [](void*, const char*, std::size_t, const kiv_context*, kiv_answer*) {};
    CountedUser refused;
    CountedUser first;
    CountedUser second;
    CountedUser unused;
    EXPECT_NE(kiv_set_computed_property(notUtf8, zeroEnded, KIV_INT, compute, &refused, CountedUser::destroy),
              KIV_OK);
    EXPECT_EQ(kiv_set_computed_property("a", zeroEnded, KIV_INT, compute, &first, CountedUser::destroy),
              KIV_OK);
    EXPECT_EQ(first.destroyed, 0);
    EXPECT_EQ(kiv_set_computed_property("a", zeroEnded, KIV_INT, compute, &second, CountedUser::destroy),
              KIV_OK);
    EXPECT_EQ(first.destroyed, 1);
    EXPECT_EQ(kiv_set_int_property("a", zeroEnded, 1), KIV_OK);
    EXPECT_EQ(second.destroyed, 1);

    kiv_options all = options({});
    all.impression = [](void*, const kiv_impression*) {};
    all.impression_user = &refused;
    all.impression_destroy = CountedUser::destroy;
    EXPECT_EQ(kiv_setup("wrong", zeroEnded, &all), KIV_INVALID_KEY);
    const kiv_options plain = options({}); // null options would ask the built-in endpoints
    EXPECT_EQ(kiv_setup(key.c_str(), zeroEnded, &plain), KIV_OK);
    all.impression_user = &unused;
    EXPECT_EQ(kiv_setup(key.c_str(), zeroEnded, &all), KIV_OK);
    EXPECT_EQ(unused.destroyed, 1) << "the key was set up before";
    EXPECT_EQ(refused.destroyed, 0);
}

} // namespace
