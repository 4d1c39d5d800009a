#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <curl/curl.h>

namespace kiv {

inline constexpr long mostRedirects = 20;

/// Limits in seconds for the connection of a request that sets no limit, and for a look-up, which libcurl
/// must not give up: its thread would go on unseen.
inline constexpr long connectLimit = 300;
inline constexpr long lookupLimit = 2'000'000;

/// Whether the header is for the host of the request alone, as libcurl says too.
bool isCredential(std::string_view header);

/// Sets on the handle of a request how it connects, as the host asks for: certificates, proxy, redirects,
/// sockets. `bodyLimit` is in bytes; nullopt stands for a stream, which has no limit. Returns the host's
/// proxy; empty when it has none.
std::string configureConnection(CURL* handle, std::optional<std::size_t> bodyLimit);

/// The code that `TransportError` has for an error of libcurl.
long transportCodeOf(CURLcode result);

} // namespace kiv
