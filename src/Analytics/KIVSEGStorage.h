#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Analytics/KIVSEGCrypto.h"
#include "Platform/Text/Json.h"

/// Values by key that outlive the process: bytes, or property lists (dictionaries, arrays and texts).
///
/// Nothing here throws; a failure is logged. A setter returns whether the value was stored; a value that
/// cannot be read counts as missing. A storage takes no locks: several threads may use different keys at the
/// same time, but not the same key.
class KIVSEGStorage {
public:
    virtual ~KIVSEGStorage() = default;
    KIVSEGStorage(const KIVSEGStorage&) = delete;
    KIVSEGStorage& operator=(const KIVSEGStorage&) = delete;

    virtual void removeKey(std::string_view key) = 0;
    virtual void resetAll() = 0;

    virtual bool setData(std::string_view data, std::string_view key) = 0;
    virtual std::optional<std::string> dataForKey(std::string_view key) const = 0;

    /// Drops or replaces values that a property list cannot carry, as `encodeXmlPropertyList` says.
    virtual bool setDictionary(const kiv::json::object& dictionary, std::string_view key);
    virtual bool setArray(const kiv::json::array& array, std::string_view key);
    virtual bool setString(std::string_view string, std::string_view key);

    /// Each returns the stored property list, whatever its kind; null when there is none.
    kiv::json::value dictionaryForKey(std::string_view key) const { return plistForKey(key); }
    kiv::json::value arrayForKey(std::string_view key) const { return plistForKey(key); }
    kiv::json::value stringForKey(std::string_view key) const { return plistForKey(key); }

    /// Encrypts the stored bytes; null when they are stored unencrypted. To be set before the first use.
    const std::shared_ptr<const KIVSEGCrypto>& crypto() const { return crypto_; }
    void setCrypto(std::shared_ptr<const KIVSEGCrypto> crypto) { crypto_ = std::move(crypto); }

protected:
    explicit KIVSEGStorage(std::shared_ptr<const KIVSEGCrypto> crypto) : crypto_(std::move(crypto)) {}

    virtual kiv::json::value plistForKey(std::string_view key) const;

private:
    /// Stores `serialized`, the text of a property list. Returns false when it is empty, which stands for a
    /// value that cannot be a property list.
    bool setPlist(const std::string& serialized, std::string_view key);

    std::shared_ptr<const KIVSEGCrypto> crypto_;
};
