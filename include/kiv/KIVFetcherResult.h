#pragma once

#include <optional>
#include <string>

#include <kiv/KIVDate.h>

/// The result of a fetch, for the application's configuration-fetched handler.
struct KIVFetcherResult {
    /// 1: the embedded document; 2: the stored document; 3: a document from the network; 5: an error.
    int fetcherStatus = 0;
    /// When the document was signed; nullopt when it carries no date.
    std::optional<KIVDate> creationDate;
    /// The name of the error; nullopt when the fetch succeeded.
    std::optional<std::string> errorDetails;
    /// Whether the fetched document differs from the document that was stored before.
    bool hasChanges = false;
};
