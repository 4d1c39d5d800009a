#pragma once

#include <functional>
#include <memory>

#include "Platform/Http.h"

namespace kiv {

/// How a server treats its connections.
struct HttpService {
    HttpLimits limits;
    HttpHandler handler;
    /// Told of refusals of requests that could not be read.
    std::function<void(const HttpAnswer& answer)> refused;
};

/// Serves one connection, request after request, until it is closed, taken over or at fault. `service` must
/// outlive it; `ticket` is held as long as the connection is open.
void serveConnection(Socket socket, const HttpService& service, std::shared_ptr<void> ticket);

} // namespace kiv
