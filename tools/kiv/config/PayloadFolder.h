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

/// The text of a key's signed document. Shared by all answers that are sending it.
using Envelope = std::shared_ptr<const std::string>;

/// A change of the payload of a key.
struct PayloadChange {
    enum class Kind {
        published, ///< there is a new envelope
        refused,   ///< the payload cannot be served; the former envelope stays
        same,      ///< the served payload is back after a refused one
        removed    ///< the file of the payload is gone
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

    /// Reads the folder, and returns what has changed since the last call: the removed payloads, then the
    /// others, both in the order of their keys. Throws `BadInput` when the folder cannot be read.
    std::vector<PayloadChange> changes();

    const std::string& path() const { return path_; }
    const SigningIdentity& identity() const { return identity_; }

private:
    using Digest = std::array<std::uint8_t, 32>;

    struct Payload {
        Digest seen;      ///< of the file when it was last read; all zero when it could not be read
        Digest published; ///< of the file when it was last signed; all zero when it never was
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
