#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <kiv/KIVDate.h>

#include "Platform/Text/Json.h"

/// Where an applied configuration came from. The value 4 is not in use.
enum class KIVFetcherStatus : int { embedded = 1, stored = 2, network = 3, error = 5 };

/// The outcome of one fetch. The two shorter constructors differ on purpose: a result without an error is
/// presumed to carry changes, one with an error is not.
struct KIVConfigurationDataResult {
    /// Immutable and shared. A payload brings the memory of all its values along: read it through this
    /// pointer, and do not keep `kiv::json` values copied from it, as such copies live in that same memory.
    using Document = std::shared_ptr<const kiv::json::value>;

    KIVConfigurationDataResult(Document document, KIVFetcherStatus status, std::optional<KIVDate> date)
        : KIVConfigurationDataResult(std::move(document), status, date, std::nullopt, true) {}
    KIVConfigurationDataResult(Document document, KIVFetcherStatus status, std::optional<KIVDate> date,
                               std::optional<std::string> errorText)
        : KIVConfigurationDataResult(std::move(document), status, date, std::move(errorText), false) {}
    KIVConfigurationDataResult(Document document, KIVFetcherStatus status, std::optional<KIVDate> date,
                               std::optional<std::string> errorText, bool changed)
        : configuration(std::move(document)), fetcherStatus(status), configurationDate(date),
          error(std::move(errorText)), hasChanges(changed) {}

    Document configuration; ///< the inner payload (or the envelope, before it is unpacked); null when there
                            ///< is none
    KIVFetcherStatus fetcherStatus;
    std::optional<KIVDate> configurationDate;
    std::optional<std::string> error;
    bool hasChanges;
};
