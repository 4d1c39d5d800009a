#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Json.h"
#include "service/Database.h"

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

private:
    Database database_;
    Database::Statement keepState_;
    Database::Statement findState_;
    Database::Statement keepImpression_;
};

} // namespace kiv::tool
