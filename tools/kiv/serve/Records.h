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

/// What applications have reported to a service: their states and their impressions. Failures are thrown as
/// `std::runtime_error`. For one thread at a time.
class Records {
public:
    /// Opens the file, or makes it. Brings a file of an earlier version up to date.
    explicit Records(const std::string& file);

    /// Stores the document under the key and the hash. Replaces an earlier one.
    void keepState(std::string_view key, std::string_view hash, const json::object& document);

    /// The document that was stored, as compact JSON; nothing when there is none.
    std::optional<std::string> state(std::string_view key, std::string_view hash);

    /// Stores the "events" of an upload, all or, when that fails, none. Skips elements that are no objects.
    /// Returns how many were stored.
    std::size_t keepImpressions(std::string_view key, const json::object& upload);

    struct LastState {
        std::string version;  ///< changes whenever a state is stored, also an equal one
        std::string received; ///< when it was stored, as a date's text
        std::string document; ///< compact JSON
    };
    /// The state of the key that was stored last; nothing when there is none. Its document is left empty when
    /// its version is `known`.
    std::optional<LastState> lastState(std::string_view key, std::string_view known);

    /// How many impressions a flag has, in all and by value.
    struct FlagCounts {
        std::string flag;
        std::int64_t impressions;
        std::vector<std::pair<std::string, std::int64_t>> values; ///< the most frequent first
    };
    /// The first `mostFlags` flags of the key by name, each with its `mostValues` most frequent values. The
    /// cost depends on these two numbers, not on the number of impressions.
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
