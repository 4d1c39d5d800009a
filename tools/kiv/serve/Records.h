#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Text/Json.h"
#include "serve/Database.h"

namespace kiv::tool {

/// What applications have told a service: their states, and their impressions. Failures are thrown as
/// `std::runtime_error`. For one thread at a time.
class Records {
public:
    /// Opens the file, or makes it.
    explicit Records(const std::string& file);

    /// Keeps the document under the key and the hash, in place of one that is there.
    void keepState(std::string_view key, std::string_view hash, const json::object& document);

    /// The document that was kept, as compact JSON.
    std::optional<std::string> state(std::string_view key, std::string_view hash);

    /// Keeps all events of an upload, or none. Elements that are no objects are passed over. Returns how many
    /// were kept.
    std::size_t keepImpressions(std::string_view key, const json::object& upload);

    struct LastState {
        std::string version; ///< differs when another has been kept, or the same once more
        std::string received;
        std::string document;
    };
    /// The state of the key that was kept last. Its document is left empty when the version is `known`.
    std::optional<LastState> lastState(std::string_view key, std::string_view known);

    /// Impressions of a flag, and of its values.
    struct FlagCounts {
        std::string flag;
        std::int64_t impressions;
        std::vector<std::pair<std::string, std::int64_t>> values; ///< the most frequent, these first
    };
    /// The key's flags by name, as many as `mostFlags`, each with as many values as `mostValues`. What it
    /// costs depends on these numbers alone.
    std::vector<FlagCounts> impressionCounts(std::string_view key, std::int64_t mostFlags,
                                             std::int64_t mostValues);

private:
    Database database_;
    Database::Statement keepState_;
    Database::Statement findState_;
    Database::Statement findLastState_;
    Database::Statement keepImpression_;
    Database::Statement countFlags_;
    Database::Statement countValues_;
};

} // namespace kiv::tool
