#include "Platform/Http/RequestOrigin.h"

#include <gtest/gtest.h>

namespace {

using kiv::HttpCall;
using kiv::PageAddress;

bool isTaken(const PageAddress& address, const std::string& host) {
    return kiv::isFromOwnPage({.method = "GET", .host = host}, address, false);
}

TEST(RequestOrigin, IsToldByTheHost) {
    const PageAddress fixed{"127.0.0.1", 8000};
    const PageAddress forwarded{"127.0.0.1"};
    const PageAddress everywhere{"0.0.0.0"};
    const PageAddress elsewhere{"192.0.2.1", 8000};
    const struct {
        std::string host;
        bool fixed, forwarded, everywhere, elsewhere;
    } cases[] = {
        {"127.0.0.1:8000", true, true, true, false},
        {"localhost:8000", true, true, true, false},
        {"192.0.2.1:8000", false, false, true, true},
        {"localhost:8001", false, true, true, false},
        {"127.0.0.1", false, true, true, false},
        {"127.0.0.2:8000", false, true, true, false},
        {"[::1]:8000", false, true, true, false},
        {"rebound.example:8000", false, false, false, false},
        {"127.0.0.1.rebound.example:8000", false, false, false, false},
        {"127.0.0.1:8000, rebound.example:8000", false, false, false, false},
        {"127.0.0.1:8000.rebound.example", false, false, false, false},
        {"[127.0.0.1]:8000", false, false, false, false},
        {"[::1", false, false, false, false},
        {"::1", false, false, false, false},
        {"127.1:8000", false, false, false, false},
        {"127.0.0.1:", false, false, false, false},
        {":8000", false, false, false, false},
        {"", false, false, false, false},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(isTaken(fixed, each.host), each.fixed) << each.host;
        EXPECT_EQ(isTaken(forwarded, each.host), each.forwarded) << each.host;
        EXPECT_EQ(isTaken(everywhere, each.host), each.everywhere) << each.host;
        EXPECT_EQ(isTaken(elsewhere, each.host), each.elsewhere) << each.host;
    }
    EXPECT_TRUE(isTaken({"127.0.0.1", 80}, "127.0.0.1")) << "browsers leave out port 80";
}

TEST(RequestOrigin, IsToldByWhatTheBrowserAdds) {
    const struct {
        HttpCall call;
        bool isTaken, isTakenAsLink;
    } cases[] = {
        {{.origin = "http://localhost:8000"}, true, true},
        {{.origin = "http://localhost:8001"}, false, false},
        {{.origin = "https://localhost:8000"}, false, false},
        {{.origin = "null"}, false, false},
        {{.fetchSite = "same-origin"}, true, true},
        {{.fetchSite = "none"}, true, true},
        {{.fetchSite = "same-site"}, false, true},
        {{.fetchSite = "cross-site"}, false, true},
        {{.method = "POST", .fetchSite = "cross-site"}, false, false},
        {{.origin = "http://other.example", .fetchSite = "cross-site"}, false, false},
    };
    for (const auto& each : cases) {
        HttpCall call = each.call;
        call.host = "localhost:8000";
        call.method = call.method.empty() ? "GET" : call.method;
        const PageAddress own{"127.0.0.1", 8000};
        EXPECT_EQ(kiv::isFromOwnPage(call, own, false), each.isTaken) << call.origin << call.fetchSite;
        EXPECT_EQ(kiv::isFromOwnPage(call, own, true), each.isTakenAsLink) << call.origin << call.fetchSite;
    }
}

} // namespace
