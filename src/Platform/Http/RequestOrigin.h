#pragma once

#include <optional>
#include <string>

#include "Platform/Http/HttpCall.h"

namespace kiv {

/// Where a server shows its pages.
struct PageAddress {
    /// The address that the server listens on, for example "127.0.0.1".
    std::string listening;
    /// The port that the server listens on. Nullopt when people may also reach the server through a forwarded
    /// port: then a Host header may name any port and any loopback address.
    std::optional<unsigned short> port = {};
};

/// True when a page of this server, or a person, may have made a browser send the call. False when a page of
/// another site may have sent it without the user's knowledge. Three headers tell:
///
/// - `Host` must name an address of the server, or "localhost". This refuses a site whose own name resolves
///   to an address of this machine.
/// - `Origin`, when present, must be that of the same host and port.
/// - `Sec-Fetch-Site`, when present, must not say that another site asks. A GET with `isLinkTarget` is
///   excepted, because another site may link to the page.
///
/// Programs other than browsers do not send the last two headers.
bool isFromOwnPage(const HttpCall& call, const PageAddress& address, bool isLinkTarget);

/// False when a server that listens on a loopback address gets a call whose `Host` is no loopback address and
/// not "localhost": then a page of another site, whose name resolves to this machine, may have made a browser
/// send the call, and could read the answer. True for all calls to a server that listens on another address.
bool namesLoopbackIfListeningThere(const HttpCall& call, const std::string& listening);

} // namespace kiv
