#pragma once

#include <optional>
#include <string>

#include <kiv/KIVDate.h>

/// What the application's configuration-fetched handler is told.
struct KIVFetcherResult {
    /// 1: the embedded document; 2: the stored one; 3: one from the network; 5: an error.
    int fetcherStatus = 0;
    /// When the configuration was signed; nothing when it does not say.
    std::optional<KIVDate> creationDate;
    /// What went wrong, nothing when all went well.
    std::optional<std::string> errorDetails;
    bool hasChanges = false;
};
