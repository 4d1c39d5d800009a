#pragma once

#include <memory>
#include <optional>
#include <string>

#include <kiv/KIVDate.h>

#include "Platform/Json.h"

/// Where an applied configuration came from. The value 4 is not in use.
enum class KIVFetcherStatus : int { embedded = 1, stored = 2, network = 3, error = 5 };

/// The outcome of one fetch. The two shorter constructors differ on purpose: a result without an error is presumed to
/// carry changes, one with an error is not.
struct KIVConfigurationDataResult {
    using Document = std::shared_ptr<const kiv::json::value>;

    KIVConfigurationDataResult(Document configuration, KIVFetcherStatus fetcherStatus,
                               std::optional<KIVDate> configurationDate)
        : KIVConfigurationDataResult(std::move(configuration), fetcherStatus, configurationDate, std::nullopt, true) {}
    KIVConfigurationDataResult(Document configuration, KIVFetcherStatus fetcherStatus,
                               std::optional<KIVDate> configurationDate, std::optional<std::string> error)
        : KIVConfigurationDataResult(std::move(configuration), fetcherStatus, configurationDate, std::move(error),
                                     false) {}
    KIVConfigurationDataResult(Document configuration, KIVFetcherStatus fetcherStatus,
                               std::optional<KIVDate> configurationDate, std::optional<std::string> error,
                               bool hasChanges)
        : configuration(std::move(configuration)), fetcherStatus(fetcherStatus), configurationDate(configurationDate),
          error(std::move(error)), hasChanges(hasChanges) {}

    Document configuration; ///< the inner payload (or the envelope, before it is unpacked); null when there is none
    KIVFetcherStatus fetcherStatus;
    std::optional<KIVDate> configurationDate;
    std::optional<std::string> error;
    bool hasChanges;
};
