#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kiv {

/// The look-ups of host names that libcurl has under way. libcurl gives each a thread, and a look-up that
/// hangs keeps its thread whatever becomes of the request. Used on the network thread only.
class HostLookups {
public:
    static constexpr std::size_t most = 2;

    /// Notes that the look-up of `host` begins, for the request `owner`. False, and notes nothing, when
    /// another request looks this host up, or when `most` look-ups are under way.
    bool begin(const void* owner, std::string_view host);

    /// Notes that the look-up of `owner` has ended, if it had begun.
    void end(const void* owner);

    bool isUnderWay(const void* owner) const;

    /// Whether a look-up has ended since the last call.
    bool takeEnded() { return std::exchange(ended_, false); }

private:
    std::vector<std::pair<const void*, std::string>> underWay_; ///< owners and hosts
    bool ended_ = false;
};

/// Whether the name of a host is an address or means this machine, so that nobody needs to be asked for it.
/// An IPv6 address stands in brackets.
bool needsNoLookup(std::string_view host);

/// The name of the host in a URL; empty when it has none. A scheme may be missing.
std::string hostOfUrl(const std::string& url);

/// The proxy that the environment names for a URL; empty when it names none. Hosts that the environment
/// excludes are not looked at.
std::string proxyOfEnvironment(std::string_view url);

} // namespace kiv
