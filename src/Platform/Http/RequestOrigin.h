#pragma once

#include <optional>
#include <string>

#include "Platform/Http/HttpCall.h"

namespace kiv {

/// Where a server shows its pages.
struct PageAddress {
    /// The address that the server listens on, for example "127.0.0.1".
    std::string listening;
    /// The port that the server listens on. Nullopt when people may also come by way of a port that is
    /// forwarded from elsewhere: then any port counts, and any loopback address.
    std::optional<unsigned short> port = {};
};

/// Whether a page of this server, or a person, may have made a browser send the call; false when a page of
/// another site may have, behind its user's back. Three headers tell:
///
/// - `Host` must name an address of the server, or "localhost". A site that lets its own name stand for an
///   address of this machine is refused by that name.
/// - `Origin`, when present, must be that of the same host and port.
/// - `Sec-Fetch-Site`, when present, must not say that another site asks. A call of the page itself is
///   excepted (`isLinkTarget`, and the method is GET): another site may link to it.
///
/// Programs that are no browser send neither of the last two.
bool isFromOwnPage(const HttpCall& call, const PageAddress& address, bool isLinkTarget);

} // namespace kiv
