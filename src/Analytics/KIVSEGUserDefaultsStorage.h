#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Analytics/KIVSEGStorage.h"
#include "Platform/Host/UserDefaults.h"

/// A storage in user defaults. Without a `crypto`, dictionaries, arrays and texts are stored as such. Bytes,
/// and all values that are encrypted, are stored as base64 text.
class KIVSEGUserDefaultsStorage : public KIVSEGStorage {
public:
    /// `defaults` must outlive this. With a prefix, keys are "prefix.key" there.
    KIVSEGUserDefaultsStorage(kiv::UserDefaults& defaults, std::optional<std::string> namespacePrefix,
                              std::shared_ptr<const KIVSEGCrypto> crypto);

    kiv::UserDefaults& defaults() const { return defaults_; }
    const std::optional<std::string>& namespacePrefix() const { return namespacePrefix_; }

    void removeKey(std::string_view key) override;
    /// Removes all values whose key begins with the prefix; without a prefix all of the defaults, whoever set
    /// them.
    void resetAll() override;
    bool setData(std::string_view data, std::string_view key) override;
    std::optional<std::string> dataForKey(std::string_view key) const override;
    bool setDictionary(const kiv::json::object& dictionary, std::string_view key) override;
    bool setArray(const kiv::json::array& array, std::string_view key) override;
    bool setString(std::string_view string, std::string_view key) override;

protected:
    kiv::json::value plistForKey(std::string_view key) const override;

private:
    std::string nameOf(std::string_view key) const;

    kiv::UserDefaults& defaults_;
    const std::optional<std::string> namespacePrefix_;
};
