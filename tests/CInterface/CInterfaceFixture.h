#pragma once

#include <atomic>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/KIVHost.h>
#include <kiv/c.h>

#include "Platform/System/Files.h"
#include "Support/Payload.h"
#include "Support/Signing.h"

// As in C, members that are not named are zero, which means that they are not set.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

constexpr std::size_t zeroEnded = SIZE_MAX;

inline kiv_text cText(const char* text) { return {text, zeroEnded}; }
inline kiv_value cTextValue(const char* text) { return {.kind = KIV_TEXT, .text = cText(text)}; }
inline kiv_value cInt(std::int64_t value) { return {.kind = KIV_INT, .integer = value}; }
inline kiv_value cBool(bool value) { return {.kind = KIV_BOOL, .boolean = value ? 1 : 0}; }
inline kiv_value cDouble(double value) { return {.kind = KIV_DOUBLE, .real = value}; }

/// Whether the text of the last error has the words.
inline ::testing::AssertionResult errorHas(const std::string& words) {
    const std::string text = kiv_error_text();
    return text.find(words) == std::string::npos
               ? ::testing::AssertionFailure() << "\"" << text << "\" lacks \"" << words << "\""
               : ::testing::AssertionSuccess();
}

/// A user pointer that counts how often it is destroyed.
struct CountedUser {
    static void destroy(void* user) { ++static_cast<CountedUser*>(user)->destroyed; }
    std::atomic<int> destroyed = 0;
};

/// A shop with a flag of each type, and a signed document for it.
class CInterface : public ::testing::Test {
protected:
    CInterface() {
        const kiv_declaration declared[] = {
            {.size = sizeof(kiv_declaration), .name = cText("open"), .default_value = cBool(false)},
            {.size = sizeof(kiv_declaration),
             .name = cText("color"),
             .default_value = cTextValue("blue"),
             .variations = colors,
             .variation_count = 2},
            {.size = sizeof(kiv_declaration), .name = cText("retries"), .default_value = cInt(3)},
            {.size = sizeof(kiv_declaration), .name = cText("discount"), .default_value = cDouble(0.25)},
            {.size = sizeof(kiv_declaration),
             .name = cText("frozen"),
             .default_value = cTextValue("none"),
             .freeze = KIV_FREEZE_UNTIL_UNFREEZE},
        };
        EXPECT_EQ(kiv_register("shop", zeroEnded, declared, std::size(declared), handles), KIV_OK);
    }
    ~CInterface() override { kiv_shutdown(); }

    kiv_options options(const kiv::json::array& experiments) {
        EXPECT_TRUE(kiv::writeFile(path, signer.sign(makePayload(key, experiments))));
        return {.size = sizeof(kiv_options),
                .signing_certificate = cText(signer.certificateBase64.c_str()),
                .configuration_path = cText(path.c_str()),
                .endpoints = &offline};
    }

    void setUp(const kiv::json::array& experiments) {
        const kiv_options all = options(experiments);
        ASSERT_EQ(kiv_setup(key.c_str(), key.size(), &all), KIV_OK) << kiv_error_text();
    }

    static std::string textOf(const kiv_flag* flag, const kiv_context* context = nullptr) {
        char buffer[64];
        std::size_t size = 0;
        EXPECT_EQ(kiv_flag_read_text(flag, context, buffer, sizeof(buffer), &size), KIV_OK);
        return std::string(buffer, size);
    }

    static kiv_context* contextOf(const std::vector<kiv_entry>& entries) {
        kiv_context* context = nullptr;
        EXPECT_EQ(kiv_context_create(entries.data(), entries.size(), &context), KIV_OK) << kiv_error_text();
        return context;
    }

    const kiv_value colors[2] = {cTextValue("blue"), cTextValue("green")};
    const kiv_endpoints offline{.size = sizeof(kiv_endpoints)};
    const std::string key = "5e0bd1f2c3a4b5d6e7f80912";
    const Signer signer = makeSigner();
    const std::string path = *KIVHost::current()->libraryDirectory + "/configuration.json";
    kiv_flag* handles[5] = {};
    kiv_flag* const& open = handles[0];
    kiv_flag* const& color = handles[1];
    kiv_flag* const& retries = handles[2];
    kiv_flag* const& discount = handles[3];
    kiv_flag* const& frozen = handles[4];
};
