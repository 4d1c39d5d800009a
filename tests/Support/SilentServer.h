#pragma once

#include <string>

#include "Support/LoopbackServer.h"

/// A server on loopback that accepts requests and never answers them.
class SilentServer {
public:
    SilentServer() { server_.on("", LoopbackServer::stall()); }

    const std::string& url() const { return url_; }

private:
    LoopbackServer server_;
    const std::string url_ = server_.url("");
};
