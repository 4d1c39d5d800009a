#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
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
    /// The state of the key that was stored last; nothing when there is none.
    std::optional<LastState> lastState(std::string_view key);

    /// Numbers of impressions by flag or by value.
    using Counts = std::vector<std::pair<std::string, std::int64_t>>;

    /// The number of impressions of each flag of the key that has any, by name. The cost depends on the
    /// number of flags, not on the number of impressions.
    Counts flagCounts(std::string_view key);

    /// The `most` most frequent values of the flag, the most frequent first. The cost depends on `most`.
    Counts valueCounts(std::string_view key, std::string_view flag, std::int64_t most);

    /// Impressions that were read at `start` or later and before `end`, both in seconds since 1970.
    struct Period {
        double start;
        double end;
    };

    /// Values that may be the `most` most frequent ones of the period: those of all time, and those of the
    /// latest 10,000 reads in the period.
    std::vector<std::string> frequentValues(std::string_view key, std::string_view flag, const Period& period,
                                            std::int64_t most);

    /// How often a flag had a value in one slot of a period.
    struct SlotCount {
        std::int64_t slot;                ///< from 0
        std::optional<std::string> value; ///< nullopt for all values that were not asked for, together
        std::int64_t impressions;
    };
    /// The flag's impressions in the period, cut into slots of `width` seconds, by slot. Slots and values
    /// without impressions are left out. The cost depends on the number of impressions in the period: a
    /// million take about a third of a second.
    std::vector<SlotCount> countsOverTime(std::string_view key, std::string_view flag, const Period& period,
                                          double width, const std::vector<std::string>& values);

    /// A version of the library, and the platform that it runs on; either may be empty.
    struct Origin {
        std::string version;
        std::string platform;
        std::int64_t impressions;
    };
    /// Where the flag's `most` latest reads come from, the most frequent origin first. The cost depends on
    /// `most`.
    std::vector<Origin> latestOrigins(std::string_view key, std::string_view flag, std::int64_t most);

    /// Notes what decides each flag in a document of the key: by flag, a text that changes when that does. A
    /// flag whose text differs from the noted one has changed at `date`, a date's text. Forgets other flags
    /// of the key.
    void noteDeciders(std::string_view key, const std::map<std::string, std::string>& deciders,
                      std::string_view date);

    /// When each flag of the key's document changed last, as a date's text, by flag.
    std::map<std::string, std::string> flagChanges(std::string_view key);

private:
    Database database_;
    Database::Statement keepState_;
    Database::Statement findState_;
    Database::Statement findLastState_;
    Database::Statement keepImpression_;
    Database::Statement countFlags_;
    Database::Statement countValues_;
    Database::Statement countLatest_;
    Database::Statement countOverTime_;
    Database::Statement findOrigins_;
    Database::Statement findDeciders_;
    Database::Statement noteDecider_;
    Database::Statement forgetDecider_;
};

} // namespace kiv::tool
