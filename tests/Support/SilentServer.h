#pragma once

#include <string>

#include "Support/LoopbackServer.h"

/// A server on loopback that takes requests and never says a word.
class SilentServer {
public:
    SilentServer() { server_.on("", LoopbackServer::stall()); }

    const std::string& url() const { return url_; }

private:
    LoopbackServer server_;
    const std::string url_ = server_.url("");
};
