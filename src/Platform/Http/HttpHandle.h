#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include <curl/curl.h>

namespace kiv {

inline constexpr long mostRedirects = 20;

/// Sets on the handle of a request how it connects, as the host asks for: certificates, proxy, redirects,
/// sockets. `bodyLimit` is in bytes; nullopt stands for a stream, which has no limit. Returns the host's
/// proxy; empty when it has none.
std::string configureConnection(CURL* handle, std::optional<std::size_t> bodyLimit);

/// The code that `TransportError` has for an error of libcurl.
long transportCodeOf(CURLcode result);

} // namespace kiv
