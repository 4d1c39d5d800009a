#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Platform/Http/HttpCall.h"

namespace kiv {

/// What a server does on its connections.
struct HttpService {
    HttpLimits limits;
    HttpHandler handler;
    /// Called with the answer to each request that could not be read.
    std::function<void(const HttpAnswer& answer)> refused;
    /// The answer to a call that is turned away; nullopt for a call that is let in. Called before the body is
    /// read, and before a request that could not be read is refused, with as much of the call as has been
    /// read. The connection is closed after the answer. When this is empty, every call is let in.
    std::function<std::optional<HttpAnswer>(const HttpCall& call)> turnAway = {};
    HttpHeaders headers = {}; ///< of every answer
};

/// Serves one connection, request after request, until it is closed or taken over, or fails. `service` must
/// outlive it. `ticket` is held as long as the connection is open.
void serveConnection(Socket socket, const HttpService& service, std::shared_ptr<void> ticket);

} // namespace kiv
