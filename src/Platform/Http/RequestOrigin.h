#pragma once

#include <string>

#include "Platform/Http/HttpCall.h"

namespace kiv {

/// Whether a browser that sends the call shows a page of this server itself, and not one of another site that
/// asks behind its user's back: neither by a name of its own that it lets stand for an address here, nor from
/// its own origin. `listening` is the address that the server listens on.
bool isFromOwnPage(const HttpCall& call, const std::string& listening);

} // namespace kiv
