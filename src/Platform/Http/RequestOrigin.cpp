#include "Platform/Http/RequestOrigin.h"

#include <algorithm>
#include <string_view>

#include <boost/asio/ip/address.hpp>

#include "Platform/Text/Text.h"

namespace kiv {
namespace {

namespace ip = boost::asio::ip;
using boost::system::error_code;

/// The host and the port that a Host header names.
struct Host {
    std::string_view name; ///< without brackets
    bool isBracketed;      ///< the header encloses the name in brackets
    std::string_view port; ///< digits
};

/// Parses the header; nullopt when it has another form than NAME, NAME:PORT, [ADDRESS] and [ADDRESS]:PORT.
std::optional<Host> readHost(std::string_view header) {
    const bool isBracketed = header.starts_with('[');
    const std::size_t end = isBracketed ? header.find(']') : std::min(header.find(':'), header.size());
    if (end == header.npos) {
        return std::nullopt;
    }
    const std::size_t start = isBracketed ? 1 : 0;
    Host host{header.substr(start, end - start), isBracketed, "80"};
    const std::string_view rest = header.substr(end + start);
    if (rest.empty()) {
        return host;
    }
    host.port = rest.substr(1);
    const bool isPort =
        rest.front() == ':' && !host.port.empty() && host.port.find_first_not_of("0123456789") == rest.npos;
    return isPort ? std::optional(host) : std::nullopt;
}

std::optional<ip::address> readAddress(const Host& host) {
    error_code problem;
    const ip::address address = host.isBracketed ? ip::address(ip::make_address_v6(host.name, problem))
                                                 : ip::address(ip::make_address_v4(host.name, problem));
    return problem ? std::nullopt : std::optional(address);
}

bool isOwnHost(std::string_view header, const PageAddress& page) {
    error_code problem;
    const ip::address own = ip::make_address(page.listening, problem);
    const auto host = readHost(header);
    if (problem || !host || (page.port && host->port != std::to_string(*page.port))) {
        return false;
    }
    const bool takesLoopback = !page.port || own.is_unspecified();
    if (lowercasedAscii(host->name) == "localhost") {
        return takesLoopback || own.is_loopback();
    }
    const auto asked = readAddress(*host);
    return asked && (*asked == own || own.is_unspecified() || (takesLoopback && asked->is_loopback()));
}

} // namespace

bool isFromOwnPage(const HttpCall& call, const PageAddress& address, bool isLinkTarget) {
    const bool isLink = isLinkTarget && call.method == "GET";
    return isOwnHost(call.host, address) && (call.origin.empty() || call.origin == "http://" + call.host) &&
           (isLink || call.fetchSite.empty() || call.fetchSite == "none" || call.fetchSite == "same-origin");
}

bool namesLoopbackIfListeningThere(const HttpCall& call, const std::string& listening) {
    error_code problem;
    const bool isOnLoopback = ip::make_address(listening, problem).is_loopback();
    return !isOnLoopback || isOwnHost(call.host, {.listening = listening});
}

} // namespace kiv
