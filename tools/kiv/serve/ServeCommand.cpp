#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <CLI/CLI.hpp>

#include "Command.h"
#include "Platform/Http/HttpServer.h"
#include "Platform/Text/Json.h"
#include "Terminal.h"
#include "config/DataFolder.h"
#include "config/SigningIdentity.h"
#include "serve/Endpoints.h"
#include "serve/FolderWatch.h"
#include "serve/Service.h"

namespace kiv::tool {
namespace {

namespace net = boost::asio;

constexpr unsigned short usualPort = 8490;

struct Options {
    std::string folder;
    std::string data;
    unsigned short port = usualPort;
    bool asJson = false;
    bool isQuiet = false;
    Service::Settings settings;
};

constexpr const char* explanation =
    R"(Serves the payloads of a folder to applications. Each payload is a file KEY.flags.json; KEY is the key of
the application. The payload may leave out "application". A file is checked and signed when it changes, and
the change is announced to the push streams of its key. A file with errors is refused, and the document from
before is still served.

The signing key and its certificate are made on the first start. They are kept in the data folder, together
with the states and impressions that applications report.

The service also evaluates the flags for OpenFeature clients, which speak the protocol OFREP, below /KEY.
Pages in a browser may ask when their site is given with --allow-origin.

Examples:
  kiv serve flags
  kiv serve flags --port 0 --json
  kiv serve flags --allow-origin https://shop.example
  kiv serve flags --cdn-misses

Interrupt it (Ctrl-C) to stop.)";

/// Raises the process's limit of open files to what the system allows, and returns the limit less the number
/// of files that the service itself needs.
std::size_t mostConnections() {
    constexpr std::size_t ownFiles = 64;
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur > 2 * ownFiles ? limit.rlim_cur - ownFiles : ownFiles;
}

std::string baseUrl(const std::string& host, unsigned short port) {
    const bool isIpv6 = host.find(':') != host.npos;
    return "http://" + (isIpv6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

void introduce(const Options& options, const std::string& certificate, const std::string& base,
               const std::vector<std::string>& keys) {
    const json::object endpoints = endpointOptions(base);
    if (options.asJson) {
        json::array all(keys.begin(), keys.end());
        std::cout << compactJson(json::object{{"url", base},
                                              {"keys", all},
                                              {"customSigningCertificate", certificate},
                                              {"networkConfigurations", endpoints}});
    } else {
        std::cout << "Serving " << counted(keys.size(), "key") << " of " << printable(options.folder)
                  << ". What applications report is shown at\n\n  " << base << "/\n\n";
        if (!keys.empty()) {
            std::cout << "The base URL for OpenFeature clients (OFREP) is\n\n";
            for (const std::string& key : keys) {
                std::cout << "  " << base << "/" << printable(key) << "\n";
            }
            std::cout << "\n";
        }
        std::cout << "In the application:\n\n" << optionsSource(endpoints, certificate);
    }
    std::cout << std::endl; // flushed: a program may be waiting for it
}

std::unique_ptr<HttpServer> listening(net::io_context& io, const Options& options, HttpService service) {
    try {
        return std::make_unique<HttpServer>(io, options.settings.host, options.port, mostConnections(),
                                            std::move(service));
    } catch (const NoSuchHost&) {
        throw WrongUsage("--host: takes an address of this machine, for example 127.0.0.1 or ::1");
    } catch (const CannotListen& problem) {
        throw BadInput(problem.what(), std::nullopt, "--port 0 takes a free port.");
    }
}

int serve(const Options& options) {
    std::signal(SIGPIPE, SIG_IGN);
    const std::string data = dataFolder(options.folder, options.data);
    PayloadFolder folder(options.folder, identityInFolder(data));
    Records records(recordsFile(data));
    const Journal journal(options.isQuiet);
    net::io_context io(1);
    net::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&](boost::system::error_code, int) { io.stop(); });

    Service service(io, folder, records, journal, options.settings);
    const FolderWatch watch(
        io, options.folder, [&] { service.readFolder(); },
        [&] {
            journal.told(Terminal::Style::error,
                         printable(options.folder) + ": is gone; what was served before is still served");
        });
    service.apply(folder.changes());
    const auto server = listening(
        io, options,
        {.limits = {},
         .handler = [&](HttpCall call,
                        HttpReply reply) { service.answer(std::move(call), std::move(reply)); },
         .refused = [&](const HttpAnswer& answer) { journal.answered(answer, "bad request", ""); }});
    introduce(options, folder.identity().certificate, baseUrl(options.settings.host, server->port()),
              service.keys());
    io.run();
    journal.told(Terminal::Style::good, "Stopped.");
    return exitFine;
}

} // namespace

void addServeCommand(CLI::App& parent, int& exitCode) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        parent.add_subcommand("serve", "Serve a folder of payloads to applications, signed and pushed");
    command->add_option("FOLDER", options->folder, "Folder with the payloads, KEY.flags.json each")
        ->required()
        ->type_name("");
    command
        ->add_option("--port", options->port,
                     "Port, " + std::to_string(usualPort) + " by default; 0 takes a free one")
        ->type_name("N");
    command
        ->add_option("--host", options->settings.host,
                     "Address to listen on; " + options->settings.host + " by default")
        ->type_name("ADDRESS");
    command
        ->add_option("--data", options->data,
                     "Folder for the signing key and the records; FOLDER/.kiv by default")
        ->type_name("DIR");
    command->add_flag("--cdn-misses", options->settings.cdnMisses,
                      "Answer every request to the configuration CDN with 404, to try the API");
    command
        ->add_option_function<int>(
            "--keep-alive",
            [options](int seconds) { options->settings.keepAlive = std::chrono::seconds(seconds); },
            "Seconds between comments that keep a quiet push stream open; 15 by default")
        ->check(CLI::Range(1, 3600).description(""))
        ->type_name("N");
    command
        ->add_option_function<std::vector<std::string>>(
            "--allow-origin",
            [options](const std::vector<std::string>& origins) {
                std::ranges::for_each(origins, requireOrigin);
                options->settings.allowedOrigins = origins;
            },
            "A site whose pages may evaluate flags (OpenFeature); may be repeated")
        ->type_name("ORIGIN")
        ->allow_extra_args(false);
    command->add_flag("--json", options->asJson, "Print what applications need as one line of JSON");
    command->add_flag("--quiet", options->isQuiet, "Print only errors and warnings");
    command->footer(explanation);
    command->callback([options, &exitCode] { exitCode = serve(*options); });
}

} // namespace kiv::tool
