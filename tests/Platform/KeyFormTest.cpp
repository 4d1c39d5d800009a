#include "Platform/KeyForm.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(KeyForm, TakesWholeTextsOfHexadecimalDigitsOnly) {
    const struct {
        std::string key;
        bool application;
        bool uuid;
    } cases[] = {
        {"5E0BD1F2c3a4b5d6e7f80912", true, false},
        {"5e0bd1f2c3a4b5d6e7f8091", false, false},
        {"5e0bd1f2c3a4b5d6e7f80912 ", false, false},
        {"5e0bd1f2c3a4b5d6e7f8091g", false, false},
        {"0F8FAD5B-D9cb-469f-a165-70867728950E", false, true},
        {"0f8fad5bd-9cb-469f-a165-70867728950e", false, false},
        {"0f8fad5b-d9cb-469f-a165-70867728950e\n", false, false},
        {"", false, false},
    };
    for (const auto& [key, application, uuid] : cases) {
        EXPECT_EQ(kiv::isApplicationKeyForm(key), application) << key;
        EXPECT_EQ(kiv::isUuidForm(key), uuid) << key;
    }
}

} // namespace
