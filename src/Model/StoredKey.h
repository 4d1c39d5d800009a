#pragma once

#include <optional>
#include <string>

/// The SDK key that this installation's next launches work for, kept in the application's preferences under
/// "KIV_CURRENT_SDK_KEY". Callable from any thread.
namespace kiv {

/// Nullopt when no key is stored, or the stored text has not the form of a key: it would name files and
/// addresses.
std::optional<std::string> storedSDKKey();

/// Stores any text, and returns whether it could.
bool storeSDKKey(const std::string& key);

} // namespace kiv
