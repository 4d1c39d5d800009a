#include "serve/Service.h"

#include <algorithm>
#include <array>
#include <utility>

#include <boost/asio/post.hpp>

#include "Command.h"
#include "Model/KeyForm.h"
#include "Platform/Http/RequestOrigin.h"
#include "serve/Endpoints.h"
#include "serve/FlagReport.h"
#include "serve/Overview.h"
#include "serve/RequestBody.h"

namespace kiv::tool {
namespace {

namespace net = boost::asio;

constexpr const char* noFile = "there is no file for this key";
constexpr const char* allPages = "";

HttpAnswer jsonAnswer(const json::object& body, std::string note) {
    return {.body = std::make_shared<const std::string>(compactJson(body) + "\n"), .note = std::move(note)};
}

std::string elementCount(const json::object& document, std::string_view name) {
    const json::array* array = arrayMember(document, name);
    return std::to_string(array ? array->size() : 0);
}

bool isStateHash(std::string_view text) {
    constexpr std::size_t digits = 32;
    return text.size() == digits &&
           text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

void requireSame(const json::object& body, std::string_view name, std::string_view inPath) {
    const json::value* value = member(body, name);
    const json::string* text = value ? value->if_string() : nullptr;
    if (value && (!text || *text != inPath)) {
        throw Refusal{400, "\"" + std::string(name) + "\" is not what the path says"};
    }
}

} // namespace

const Service::Route* Service::routeOf(std::string_view path, Target& target) {
    static constexpr std::array routes{
        Route{"configuration CDN", "GET", endpoint::configurationCdn, true, &Service::configurationFromCdn},
        Route{"configuration API", "POST", endpoint::configurationApi, true, &Service::configurationFromApi},
        Route{"state CDN", "GET", endpoint::stateCdn, true, &Service::stateFromCdn},
        Route{"state API", "POST", endpoint::stateApi, true, &Service::keepState},
        Route{"impressions", "POST", endpoint::impressions, false, &Service::keepImpressions},
        Route{"push stream", "GET", endpoint::push, false, &Service::openStream},
    };
    for (const Route& route : routes) {
        if (!path.starts_with(route.path) || !path.substr(route.path.size()).starts_with('/')) {
            continue;
        }
        const std::string_view rest = path.substr(route.path.size() + 1);
        const std::size_t slash = std::min(rest.find('/'), rest.size());
        target = {std::string(rest.substr(0, slash)),
                  std::string(rest.substr(std::min(slash + 1, rest.size())))};
        if (target.rest.empty() != route.hasRest && target.rest.find('/') == target.rest.npos &&
            (route.hasRest || slash == rest.size())) {
            return &route;
        }
    }
    return nullptr;
}

Service::Service(net::io_context& io, PayloadFolder& folder, Records& records, const Journal& journal,
                 const Settings& settings)
    : io_(io), folder_(folder), records_(records), journal_(journal), settings_(settings),
      streams_(io, settings.keepAlive), pages_(io, settings.keepAlive),
      ofrep_(io, worker_, records, journal, {settings.host, settings.allowedOrigins, settings.keepAlive},
             [this] { pages_.announce(allPages); }) {}

Service::~Service() {
    pages_.closeAll();
    streams_.closeAll();
    worker_.join();
}

std::vector<std::string> Service::keys() const {
    std::vector<std::string> keys;
    for (const auto& [key, document] : documents_) {
        keys.push_back(key);
    }
    return keys;
}

void Service::readFolder() {
    net::post(worker_, [this] {
        try {
            net::post(io_, [this, changes = folder_.changes()] { apply(changes); });
        } catch (const BadInput& problem) {
            net::post(io_, [this, text = std::string(problem.what())] {
                journal_.told(Terminal::Style::error, text);
            });
        }
    });
}

void Service::apply(const std::vector<PayloadChange>& changes) {
    for (const PayloadChange& change : changes) {
        tell(change);
        if (change.kind == PayloadChange::Kind::removed) {
            documents_.erase(change.key);
            ofrep_.remove(change.key);
        } else if (isApplicationKeyForm(change.key) || isUuidForm(change.key)) {
            ServedDocument& document = documents_[change.key];
            document.isRefused = change.kind == PayloadChange::Kind::refused;
            document.findings = change.findings;
            if (document.isRefused) {
                ofrep_.publish(change.key, nullptr);
            }
        }
        if (change.kind == PayloadChange::Kind::published) {
            ServedDocument& document = documents_[change.key];
            document.envelope = change.envelope;
            document.servedFindings = change.findings;
            noteDeciders(change.key, document);
            ofrep_.publish(change.key, change.envelope);
            if (const std::size_t streams = streams_.announce(change.key)) {
                journal_.told(Terminal::Style::good,
                              change.key + " has changed; announced to " + counted(streams, "stream"));
            }
        } else if (change.kind == PayloadChange::Kind::same) {
            documents_[change.key].findings = documents_[change.key].servedFindings;
        }
    }
    pages_.announce(allPages);
}

void Service::noteDeciders(const std::string& key, const ServedDocument& document) {
    net::post(worker_, [this, key, document] {
        try {
            records_.noteDeciders(key, deciderDigests(document.payload()), document.date());
        } catch (const std::exception& problem) {
            net::post(io_, [this, text = std::string(problem.what())] {
                journal_.told(Terminal::Style::error, "the changes of flags cannot be noted: " + text);
            });
        }
    });
}

void Service::tell(const PayloadChange& change) const {
    for (const Finding& finding : change.findings) {
        journal_.told(finding.isError ? Terminal::Style::error : Terminal::Style::warning,
                      finding.line(change.file));
    }
    const auto known = documents_.find(change.key);
    const bool wasServed = known != documents_.end() && known->second.envelope;
    const std::string file = printable(change.file);
    switch (change.kind) {
    case PayloadChange::Kind::published:
        journal_.told(Terminal::Style::good, file + ": signed and served");
        break;
    case PayloadChange::Kind::refused:
        journal_.told(Terminal::Style::error,
                      file + (wasServed ? ": refused; the document from before is still served"
                                        : ": refused; nothing is served for this key"));
        break;
    case PayloadChange::Kind::same:
        journal_.told(Terminal::Style::good, file + ": is back to the content that is served");
        break;
    case PayloadChange::Kind::removed:
        journal_.told(Terminal::Style::warning, file + ": is gone; nothing is served for this key");
        break;
    }
}

void Service::answer(HttpCall call, HttpReply reply) {
    if (answerPerson(call, reply) || ofrep_.answer(call, reply)) {
        return;
    }
    if (!namesLoopbackIfListeningThere(call, settings_.host)) {
        const HttpAnswer strange =
            refusal(403, "the service listens on loopback, and answers requests to 127.0.0.1, "
                         "[::1] or localhost only; --host has it listen elsewhere");
        journal_.answered(strange, "foreign host", printable(call.host));
        return reply(strange);
    }
    Target target;
    const Route* route = routeOf(call.path, target);
    if (!route) {
        const HttpAnswer none = refusal(404, "there is nothing at this path");
        journal_.answered(none, call.method + " " + call.path, "");
        return reply(none);
    }
    HttpReply logged = [this, route, key = printable(target.key),
                        reply = std::move(reply)](HttpAnswer answer) {
        journal_.answered(answer, route->name, key);
        reply(std::move(answer));
    };
    answerFor(*route, std::move(target), std::move(call), std::move(logged));
}

bool Service::answerPerson(const HttpCall& call, const HttpReply& reply) {
    std::optional<HttpAnswer> answer = overview::file(call.path);
    const bool isData = call.path == overview::dataPath || call.path == overview::flagDataPath;
    const bool isPage = call.path == overview::pagePath || call.path == overview::flagPagePath;
    if (!answer && !isData && call.path != overview::changesPath) {
        return false;
    }
    if (!isFromOwnPage(call, {.listening = settings_.host}, isPage)) {
        answer = refusal(403, "the page is shown under an address of this machine only");
        journal_.answered(*answer, "page", call.host);
    } else if (call.method != "GET") {
        answer = refusal(405, call.method + " is not for this path");
        answer->headers = {{"Allow", "GET"}};
    } else if (isData) {
        answerWithData(call, reply);
        return true;
    } else if (call.path == overview::changesPath) {
        answer = openPage();
    }
    reply(std::move(*answer));
    return true;
}

void Service::answerWithData(const HttpCall& call, const HttpReply& reply) {
    const std::string key = overview::askedKey(keys(), call.query);
    const auto found = documents_.find(key);
    const ServedDocument document = found == documents_.end() ? ServedDocument() : found->second;
    if (call.path == overview::flagDataPath) {
        onWorker(reply, [this, key, document, query = call.query] {
            return overview::flagData(records_, key, document, query);
        });
    } else {
        onWorker(reply, [this, keys = keys(), key, document, query = call.query] {
            return overview::data(records_, keys, key, document, query);
        });
    }
}

HttpAnswer Service::openPage() {
    return {.takeOver = [this](Socket socket, std::shared_ptr<void> ticket) {
        pages_.add(allPages, std::move(socket), std::move(ticket), [] {});
    }};
}

void Service::answerFor(const Route& route, Target target, HttpCall call, HttpReply reply) {
    if (call.method != route.method) {
        HttpAnswer wrong = refusal(405, call.method + " is not for this path");
        wrong.headers = {{"Allow", std::string(route.method)}};
        return reply(std::move(wrong));
    }
    if (!documents_.contains(target.key)) {
        return reply(refusal(404, noFile));
    }
    (this->*route.answer)(std::move(target), std::move(call), std::move(reply));
}

HttpAnswer Service::configuration(const std::string& key) const {
    const auto found = documents_.find(key);
    if (found == documents_.end() || !found->second.envelope) {
        return refusal(404, found == documents_.end() ? noFile : "the payload of this key was refused");
    }
    const Envelope& envelope = found->second.envelope;
    return {.body = envelope, .note = counted(envelope->size(), "byte")};
}

void Service::configurationFromCdn(Target target, HttpCall, HttpReply reply) {
    reply(settings_.cdnMisses ? refusal(404, "a miss, as --cdn-misses demands") : configuration(target.key));
}

void Service::configurationFromApi(Target target, HttpCall call, HttpReply reply) {
    onWorker(
        std::move(call),
        [this, target, reply = std::move(reply)](HttpAnswer answer) {
            // Looks up the document only now, because it may have changed while the body was read.
            reply(answer.status == 200 ? configuration(target.key) : std::move(answer));
        },
        [target](const json::object& properties) {
            requireSame(properties, "app_key", target.key);
            return HttpAnswer{};
        });
}

void Service::stateFromCdn(Target target, HttpCall, HttpReply reply) {
    onWorker(std::move(reply), [this, target] {
        auto document = records_.state(target.key, target.rest);
        return document ? HttpAnswer{.body = std::make_shared<const std::string>(std::move(*document)),
                                     .note = "known"}
                        : refusal(404, "this state is not known");
    });
}

void Service::keepState(Target target, HttpCall call, HttpReply reply) {
    if (!isStateHash(target.rest)) {
        return reply(refusal(400, "the hash in the path has 32 hexadecimal digits"));
    }
    HttpReply told = [this, key = target.key, reply = toldToPages(std::move(reply))](HttpAnswer answer) {
        ofrep_.stateChanged(key);
        reply(std::move(answer));
    };
    onWorker(std::move(call), std::move(told), [this, target](const json::object& document) {
        requireSame(document, "app_key", target.key);
        requireSame(document, "stateMd5", target.rest);
        records_.keepState(target.key, target.rest, document);
        return jsonAnswer({{"stateMd5", target.rest}},
                          "flags: " + elementCount(document, "feature_flags") +
                              ", properties: " + elementCount(document, "custom_properties"));
    });
}

void Service::keepImpressions(Target target, HttpCall call, HttpReply reply) {
    onWorker(std::move(call), toldToPages(std::move(reply)), [this, target](const json::object& upload) {
        requireSame(upload, "corvaneKey", target.key);
        if (!arrayMember(upload, "events")) {
            throw Refusal{400, "\"events\" is no array"};
        }
        const std::size_t kept = records_.keepImpressions(target.key, upload);
        return jsonAnswer({{"stored", kept}}, counted(kept, "impression"));
    });
}

HttpReply Service::toldToPages(HttpReply reply) {
    return [this, reply = std::move(reply)](HttpAnswer answer) {
        pages_.announce(allPages);
        reply(std::move(answer));
    };
}

void Service::openStream(Target target, HttpCall, HttpReply reply) {
    HttpAnswer answer{.note = "opened, number " + std::to_string(streams_.count(target.key) + 1)};
    answer.takeOver = [this, key = target.key](Socket socket, std::shared_ptr<void> ticket) {
        streams_.add(key, std::move(socket), std::move(ticket), [this, key] {
            journal_.answered({.note = "closed, " + std::to_string(streams_.count(key)) + " left"},
                              "push stream", key);
        });
    };
    reply(std::move(answer));
}

void Service::onWorker(HttpReply reply, std::function<HttpAnswer()> work) {
    net::post(worker_, [this, reply = std::move(reply), work = std::move(work)]() mutable {
        HttpAnswer answer;
        try {
            answer = work();
        } catch (const Refusal& wrong) {
            answer = refusal(wrong.status, wrong.reason);
        } catch (const std::exception& problem) {
            answer = refusal(500, problem.what());
        }
        net::post(io_, [reply = std::move(reply), answer = std::move(answer)] { reply(answer); });
    });
}

void Service::onWorker(HttpCall call, HttpReply reply, std::function<HttpAnswer(const json::object&)> work) {
    onWorker(std::move(reply), [this, call = std::move(call), work = std::move(work)]() mutable {
        return work(bodyObject(call, settings_.bodyBytes));
    });
}

} // namespace kiv::tool
