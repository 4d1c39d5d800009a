#include "Analytics/KIVSEGUserDefaultsStorage.h"

#include <utility>

#include "Platform/Crypto/Base64.h"

KIVSEGUserDefaultsStorage::KIVSEGUserDefaultsStorage(kiv::UserDefaults& defaults,
                                                     std::optional<std::string> namespacePrefix,
                                                     std::shared_ptr<const KIVSEGCrypto> crypto)
    : KIVSEGStorage(std::move(crypto)), defaults_(defaults), namespacePrefix_(std::move(namespacePrefix)) {}

void KIVSEGUserDefaultsStorage::removeKey(std::string_view key) { defaults_.remove(nameOf(key)); }

void KIVSEGUserDefaultsStorage::resetAll() { defaults_.removeAll(namespacePrefix_.value_or("")); }

bool KIVSEGUserDefaultsStorage::setData(std::string_view data, std::string_view key) {
    const std::optional<std::string> stored = crypto() ? crypto()->encrypt(data) : std::string(data);
    return stored && defaults_.set(nameOf(key), kiv::json::string(kiv::encodeBase64(*stored)));
}

std::optional<std::string> KIVSEGUserDefaultsStorage::dataForKey(std::string_view key) const {
    const std::optional<std::string> text = defaults_.string(nameOf(key));
    std::optional<std::string> data = text ? kiv::decodeBase64(*text) : std::nullopt;
    return data && crypto() ? crypto()->decrypt(*data) : std::move(data);
}

bool KIVSEGUserDefaultsStorage::setDictionary(const kiv::json::object& dictionary, std::string_view key) {
    return crypto() ? KIVSEGStorage::setDictionary(dictionary, key) : defaults_.set(nameOf(key), dictionary);
}

bool KIVSEGUserDefaultsStorage::setArray(const kiv::json::array& array, std::string_view key) {
    return crypto() ? KIVSEGStorage::setArray(array, key) : defaults_.set(nameOf(key), array);
}

bool KIVSEGUserDefaultsStorage::setString(std::string_view string, std::string_view key) {
    return crypto() ? KIVSEGStorage::setString(string, key)
                    : defaults_.set(nameOf(key), kiv::json::string(string));
}

kiv::json::value KIVSEGUserDefaultsStorage::plistForKey(std::string_view key) const {
    return crypto() ? KIVSEGStorage::plistForKey(key) : defaults_.object(nameOf(key));
}

std::string KIVSEGUserDefaultsStorage::nameOf(std::string_view key) const {
    return namespacePrefix_ ? *namespacePrefix_ + "." + std::string(key) : std::string(key);
}
