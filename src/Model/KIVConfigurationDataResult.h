#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <kiv/KIVDate.h>

#include "Platform/Text/Json.h"

/// The source of a configuration. The value 4 is not in use.
enum class KIVFetcherStatus : int { embedded = 1, stored = 2, network = 3, error = 5 };

/// The outcome of one fetch. The constructor without an error text sets `hasChanges` to true, the constructor
/// with four parameters sets it to false.
struct KIVConfigurationDataResult {
    /// Immutable and shared. The payload owns the memory of all its values: read them through this pointer.
    /// Do not keep copies of its `kiv::json` values, because a copy lives in that same memory.
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

    Document configuration; ///< the envelope until it is unpacked, then the payload; null when there is none
    KIVFetcherStatus fetcherStatus;
    std::optional<KIVDate> configurationDate;
    std::optional<std::string> error;
    bool hasChanges;
};
