#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "Platform/Http/HttpCall.h"

namespace kiv {

/// How a server treats its connections.
struct HttpService {
    HttpLimits limits;
    HttpHandler handler;
    /// Told of refusals of requests that could not be read.
    std::function<void(const HttpAnswer& answer)> refused;
    /// What answers a call that nobody is to look into any further: asked before its body is read, and before
    /// a refusal, with as much of the call as has been read. The connection is closed after it. When it is
    /// empty, all may come in.
    std::function<std::optional<HttpAnswer>(const HttpCall& call)> turnAway = {};
    HttpHeaders headers = {}; ///< of all answers
};

/// Serves one connection, request after request, until it is closed, taken over or at fault. `service` must
/// outlive it; `ticket` is held as long as the connection is open.
void serveConnection(Socket socket, const HttpService& service, std::shared_ptr<void> ticket);

} // namespace kiv
