#include "Model/StoredKey.h"

#include "Model/KeyForm.h"
#include "Platform/Host/UserDefaults.h"

namespace kiv {
namespace {

constexpr const char* preference = "KIV_CURRENT_SDK_KEY";

} // namespace

std::optional<std::string> storedSDKKey() {
    auto key = UserDefaults::standard().string(preference);
    return key && (isUuidForm(*key) || isApplicationKeyForm(*key)) ? key : std::nullopt;
}

bool storeSDKKey(const std::string& key) {
    return UserDefaults::standard().set(preference, json::value(key));
}

} // namespace kiv
