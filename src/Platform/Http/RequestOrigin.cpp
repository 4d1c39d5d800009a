#include "Platform/Http/RequestOrigin.h"

#include <string_view>

#include <boost/asio/ip/address.hpp>

namespace kiv {
namespace {

namespace ip = boost::asio::ip;

/// The name or address of a Host header, without its port and without brackets.
std::string_view hostName(std::string_view host) {
    if (host.starts_with('[')) {
        const std::size_t end = host.find(']');
        return host.substr(1, end == host.npos ? 0 : end - 1);
    }
    return host.substr(0, host.find(':'));
}

} // namespace

bool isFromOwnPage(const HttpCall& call, const std::string& listening) {
    if (!call.origin.empty() && call.origin != "http://" + call.host) {
        return false;
    }
    const std::string_view name = hostName(call.host);
    if (name == "localhost") {
        return true;
    }
    boost::system::error_code problem;
    const ip::address asked = ip::make_address(name, problem);
    if (problem) {
        return false;
    }
    const ip::address own = ip::make_address(listening, problem);
    return asked.is_loopback() || asked == own || (!problem && own.is_unspecified());
}

} // namespace kiv
