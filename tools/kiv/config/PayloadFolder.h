#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <kiv/KIVDate.h>

#include "config/DocumentLint.h"
#include "config/SigningIdentity.h"

namespace kiv::tool {

/// The signed document of a key, as it is sent. Shared by the answers that it is being sent with.
using Envelope = std::shared_ptr<const std::string>;

/// What has happened to the payload of a key.
struct PayloadChange {
    enum class Kind {
        published, ///< there is a new envelope
        refused,   ///< it cannot be served; what was served before stays
        same,      ///< it was refused, and is again what it was before that
        removed
    };

    Kind kind;
    std::string key;
    std::string file;
    Envelope envelope;             ///< for `published`
    std::vector<Finding> findings; ///< errors and warnings
};

/// A folder of payloads that people edit: one file `KEY.flags.json` for each key. Each is checked and signed
/// once per change. Not for several threads at once.
class PayloadFolder {
public:
    PayloadFolder(std::string path, SigningIdentity identity);

    /// Reads the folder; what is different since the last call, in the order of the keys. Throws `BadInput`
    /// when there is no such folder.
    std::vector<PayloadChange> changes();

    const std::string& path() const { return path_; }
    const SigningIdentity& identity() const { return identity_; }

private:
    using Digest = std::array<std::uint8_t, 32>;

    struct Payload {
        Digest seen;      ///< of the file as it was last read; all zero when it could not be
        Digest published; ///< of the file that was signed; all zero when there was none
    };

    std::map<std::string, std::string> filesByKey() const;
    void lookAt(const std::string& key, const std::string& file, std::vector<PayloadChange>& found);
    PayloadChange checked(const std::string& key, const std::string& file, const std::string& content,
                          KIVDate changed) const;

    std::string path_;
    SigningIdentity identity_;
    std::map<std::string, Payload> payloads_; ///< by key
};

} // namespace kiv::tool
