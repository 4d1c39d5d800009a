#include "Platform/Http/RequestOrigin.h"

#include <gtest/gtest.h>

namespace {

using kiv::HttpCall;
using kiv::PageAddress;

bool isTaken(const PageAddress& address, const std::string& host) {
    HttpCall call;
    call.method = "GET";
    call.host = host;
    return kiv::isFromOwnPage(call, address, false);
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
        std::string method, origin, fetchSite;
        bool isTaken, isTakenAsLink;
    } cases[] = {
        {"GET", "http://localhost:8000", "", true, true},
        {"GET", "http://localhost:8001", "", false, false},
        {"GET", "https://localhost:8000", "", false, false},
        {"GET", "null", "", false, false},
        {"GET", "", "same-origin", true, true},
        {"GET", "", "none", true, true},
        {"GET", "", "same-site", false, true},
        {"GET", "", "cross-site", false, true},
        {"POST", "", "cross-site", false, false},
        {"GET", "http://other.example", "cross-site", false, false},
    };
    for (const auto& each : cases) {
        HttpCall call;
        call.method = each.method;
        call.host = "localhost:8000";
        call.origin = each.origin;
        call.fetchSite = each.fetchSite;
        const PageAddress own{"127.0.0.1", 8000};
        EXPECT_EQ(kiv::isFromOwnPage(call, own, false), each.isTaken) << each.origin << each.fetchSite;
        EXPECT_EQ(kiv::isFromOwnPage(call, own, true), each.isTakenAsLink) << each.origin << each.fetchSite;
    }
}

} // namespace
