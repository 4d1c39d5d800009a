#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/write.hpp>
#include <sys/socket.h>

#include <kiv/kiv.h>

#include "DebugScreen/FlagsPage.h"
#include "FuzzFolder.h"
#include "Platform/Http/HttpConnection.h"

namespace {

namespace net = boost::asio;

constexpr const char* token = "token";
constexpr unsigned short port = 8080;

struct AppFlags : KIVBaseContainer {
    KIVFlag express{true, 1};
    KIVString colour{"blue", {"blue", "dark green"}};
    KIVInt retries{3, {1, 3}};
    KIVDouble ratio{0.5};
    KIV_CONTAINER(AppFlags, express, colour, retries, ratio);
};

std::shared_ptr<const KIVFlagsViewController> makeModel() {
    FuzzFolder::path();
    KIVCore::register_("shop", std::make_shared<AppFlags>());
    KIVOptions offline;
    offline.networkConfigurations = KIVNetworkConfigurationsOptions();
    KIVCore::setupWithKey("5e0bd1f2c3a4b5d6e7f80912", offline);
    return KIVCore::flagsViewController();
}

/// A connection between the service and a client that sends `request`, hangs up, and keeps what it receives.
class Exchange {
public:
    Exchange(std::string_view request, const kiv::HttpService& service) {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            std::abort();
        }
        kiv::Socket served(io_);
        served.assign(net::ip::tcp::v4(), ends[0]);
        client_.assign(net::ip::tcp::v4(), ends[1]);
        kiv::serveConnection(std::move(served), service, nullptr);
        net::async_write(client_, net::buffer(request), [this](boost::system::error_code, std::size_t) {
            boost::system::error_code ignored;
            client_.shutdown(kiv::Socket::shutdown_send, ignored);
        });
        receive();
    }

    /// All that the service sends.
    std::string answers() {
        io_.run();
        return std::move(received_);
    }

private:
    void receive() {
        client_.async_read_some(net::buffer(chunk_),
                                [this](boost::system::error_code problem, std::size_t size) {
                                    received_.append(chunk_.data(), size);
                                    if (!problem) {
                                        receive();
                                    }
                                });
    }

    net::io_context io_{1};
    kiv::Socket client_{io_};
    std::array<char, 65536> chunk_{};
    std::string received_;
};

} // namespace

/// Takes the bytes as what a client sends on one connection to the flags page. Who does not know the page's
/// token gets nothing but refusals.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto& model = *new auto(makeModel());
    KIVCore::overrides()->clearOverrides();
    kiv::FlagsPage page(model, token);
    page.setPort(port);
    const kiv::HttpService service{
        .limits = {.bodyBytes = 64U << 10},
        .handler = [&](const kiv::HttpCall& call, const kiv::HttpReply& reply) { reply(page.answer(call)); },
        .refused = [](const kiv::HttpAnswer&) {},
        .turnAway = [&](const kiv::HttpCall& call) { return page.turnAway(call); },
        .headers = kiv::FlagsPage::headers()};
    const std::string_view request(reinterpret_cast<const char*>(data), size);
    const std::string answers = Exchange(request, service).answers();
    const bool isKnown = request.find(token) != std::string_view::npos;
    if (!answers.empty() && !answers.starts_with("HTTP/1.1 ")) {
        std::abort();
    }
    if (!isKnown && !answers.empty() && !answers.starts_with("HTTP/1.1 403 ")) {
        std::abort();
    }
    return 0;
}
