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
    /// Returns nullopt to let a call in. Otherwise the server sends the returned answer and closes the
    /// connection. Called before the server reads the body, and before it refuses a request that it could not
    /// read; the call holds what was read by then. An empty function lets every call in.
    std::function<std::optional<HttpAnswer>(const HttpCall& call)> turnAway = {};
    HttpHeaders headers = {}; ///< of every answer
};

/// Serves one connection, request after request, until it is closed or taken over, or fails. `service` must
/// outlive the connection. `ticket` is held as long as the connection is open.
void serveConnection(Socket socket, const HttpService& service, std::shared_ptr<void> ticket);

} // namespace kiv
