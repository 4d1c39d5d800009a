#pragma once

#include <optional>
#include <string>

/// The SDK key that the next launches of this installation use, kept in the application's preferences under
/// "KIV_CURRENT_SDK_KEY". Callable from any thread.
namespace kiv {

/// Nullopt when no key is stored, and when the stored text does not have the form of a key, because the key
/// becomes part of file names and addresses.
std::optional<std::string> storedSDKKey();

/// Stores the text, whatever its form. False when the text could not be stored.
bool storeSDKKey(const std::string& key);

} // namespace kiv
