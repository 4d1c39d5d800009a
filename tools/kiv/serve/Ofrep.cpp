#include "serve/Ofrep.h"

#include <algorithm>
#include <thread>
#include <utility>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>

#include "Command.h"
#include "Platform/Http/RequestOrigin.h"
#include "Platform/Text/Text.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

namespace net = boost::asio;

using Kind = OfrepTarget::Kind;

constexpr std::string_view changedEvent = "event: message\ndata: {\"type\":\"refetchEvaluation\"}\n\n";

const char* nameOf(Kind kind) {
    switch (kind) {
    case Kind::flag:
        return "OFREP flag";
    case Kind::allFlags:
        return "OFREP flags";
    case Kind::events:
        return "OFREP stream";
    case Kind::nothing:
        break;
    }
    return "OFREP";
}

std::size_t evaluatorCount() {
    constexpr unsigned most = 8;
    return std::clamp(std::thread::hardware_concurrency(), 1U, most);
}

HttpAnswer wrongMethod(const HttpCall& call, const std::string& allowed, std::string_view flag) {
    HttpAnswer answer =
        ofrepErrorAnswer({ofrepError::general, call.method + " is not for this path", 405}, flag);
    answer.headers = {{"Allow", allowed}};
    return answer;
}

} // namespace

void requireOrigin(const std::string& text) {
    const std::size_t start = text.starts_with("http://") ? 7 : text.starts_with("https://") ? 8 : text.npos;
    const bool isOrigin =
        start < text.size() && text == lowercasedAscii(text) &&
        text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789.-_:[]", start) == text.npos;
    if (!isOrigin) {
        throw WrongUsage("--allow-origin: takes an origin like https://shop.example, without a path");
    }
}

Ofrep::Ofrep(net::io_context& io, net::thread_pool& worker, Records& records, const Journal& journal,
             Settings settings, std::function<void()> impressionsStored)
    : io_(io), worker_(worker), records_(records), journal_(journal), settings_(std::move(settings)),
      streams_(io, settings_.keepAlive, changedEvent),
      impressions_(io, worker, records, journal, std::move(impressionsStored)) {}

Ofrep::~Ofrep() {
    if (evaluators_) {
        evaluators_->stop();
        evaluators_->join();
    }
}

void Ofrep::publish(const std::string& key, Envelope envelope) {
    OfrepApplication& application = applications_[key];
    if (envelope) {
        application.flags = std::make_shared<const OfrepFlags>(std::move(envelope));
        streams_.announce(key);
    }
}

void Ofrep::stateChanged(const std::string& key) {
    if (const auto found = applications_.find(key); found != applications_.end()) {
        found->second.declared = nullptr;
    }
}

bool Ofrep::isAllowedOrigin(const std::string& origin) const {
    return std::ranges::find(settings_.allowedOrigins, origin) != settings_.allowedOrigins.end();
}

/// A service that listens on loopback answers only who calls it by a name of loopback, because a site's own
/// name may resolve to loopback, too. Pages of other sites may ask only when their origin is allowed.
std::optional<std::string> Ofrep::objectionTo(const HttpCall& call) const {
    if (!namesLoopbackIfListeningThere(call, settings_.host)) {
        return "the service answers under an address of this machine only";
    }
    const bool isOwn = call.origin.empty() ? call.fetchSite.empty() || call.fetchSite == "none" ||
                                                 call.fetchSite == "same-origin"
                                           : call.origin == "http://" + call.host;
    if (!isOwn && !isAllowedOrigin(call.origin)) {
        return "pages of " + (call.origin.empty() ? "another site" : call.origin) +
               " may ask only when it is given with --allow-origin";
    }
    return std::nullopt;
}

bool Ofrep::answer(HttpCall& call, const HttpReply& reply) {
    std::optional<OfrepTarget> target = OfrepTarget::from(call.path);
    if (!target) {
        return false;
    }
    if (target->key.empty() && applications_.size() == 1) {
        target->key = applications_.begin()->first;
    }
    HttpReply told = [this, name = nameOf(target->kind), key = printable(target->key), origin = call.origin,
                      reply](HttpAnswer answer) {
        if (isAllowedOrigin(origin)) {
            answer.headers.emplace_back("Access-Control-Allow-Origin", origin);
            answer.headers.emplace_back("Access-Control-Expose-Headers", "ETag");
        }
        answer.headers.emplace_back("Vary", "Origin");
        journal_.answered(answer, name, key);
        reply(std::move(answer));
    };
    if (auto objection = objectionTo(call)) {
        told(ofrepErrorAnswer({ofrepError::general, std::move(*objection), 403}, target->flag));
    } else if (call.method == "OPTIONS") {
        told({.status = 204,
              .headers = {{"Access-Control-Allow-Methods", "GET, POST"},
                          {"Access-Control-Allow-Headers", "*, Authorization"},
                          {"Access-Control-Max-Age", "600"}},
              .note = "may ask: " + call.origin});
    } else if (const auto error = refusalOf(*target)) {
        told(ofrepErrorAnswer(*error, target->flag));
    } else {
        answerTarget(std::move(*target), std::move(call), std::move(told));
    }
    return true;
}

std::optional<OfrepError> Ofrep::refusalOf(const OfrepTarget& target) const {
    if (target.kind == Kind::nothing) {
        return OfrepError{ofrepError::general, "there is nothing at this path", 404};
    }
    const auto found = applications_.find(target.key);
    if (found == applications_.end()) {
        const bool isFlag = target.kind == Kind::flag;
        return OfrepError{isFlag ? ofrepError::flagNotFound : ofrepError::general,
                          target.key.empty() ? "the path has no key, and this service does not serve just one"
                                             : "there is no file for the key " + inQuotes(target.key),
                          404};
    }
    if (!found->second.flags) {
        return OfrepError{ofrepError::parse, "the payload of this key was refused", 500};
    }
    return std::nullopt;
}

void Ofrep::answerTarget(OfrepTarget target, HttpCall call, HttpReply reply) {
    const std::string method = target.kind == Kind::events ? "GET" : "POST";
    if (call.method != method) {
        return reply(wrongMethod(call, method, target.flag));
    }
    if (target.kind == Kind::events) {
        return openStream(target.key, reply);
    }
    evaluate(
        std::move(target),
        [call = std::move(call)](const OfrepApplication& application, const OfrepTarget& asked) {
            return asked.kind == Kind::flag ? answerFlag(application, asked.flag, call)
                                            : answerAllFlags(application, asked.eventsPath, call);
        },
        std::move(reply));
}

void Ofrep::openStream(const std::string& key, const HttpReply& reply) {
    HttpAnswer answer{.note = "opened, number " + std::to_string(streams_.count(key) + 1)};
    answer.takeOver = [this, key](Socket socket, std::shared_ptr<void> ticket) {
        streams_.add(key, std::move(socket), std::move(ticket), [this, key] {
            journal_.answered({.note = "closed, " + std::to_string(streams_.count(key)) + " left"},
                              nameOf(Kind::events), key);
        });
    };
    reply(std::move(answer));
}

void Ofrep::evaluate(OfrepTarget target, Work work, HttpReply reply) {
    const std::string key = target.key;
    withDeclarations(key, [this, target = std::move(target), work = std::move(work),
                           reply = std::move(reply)]() mutable {
        if (const auto error = refusalOf(target)) {
            return reply(ofrepErrorAnswer(*error, target.flag)); // the file went away meanwhile
        }
        if (!evaluators_) {
            evaluators_.emplace(evaluatorCount());
        }
        const OfrepApplication application = applications_.find(target.key)->second;
        net::post(*evaluators_, [this, application, target = std::move(target), work = std::move(work),
                                 reply = std::move(reply)]() mutable {
            OfrepAnswer answer = work(application, target);
            net::post(io_, [this, key = std::move(target.key), answer = std::move(answer),
                            reply = std::move(reply)]() mutable {
                impressions_.add(key, std::move(answer.impressions),
                                 [reply = std::move(reply), http = std::move(answer.http)] { reply(http); });
            });
        });
    });
}

void Ofrep::withDeclarations(const std::string& key, std::function<void()> then) {
    const auto found = applications_.find(key);
    if (found == applications_.end() || found->second.declared) {
        return then();
    }
    net::post(worker_, [this, key, then = std::move(then)]() mutable {
        auto declared = std::make_shared<OfrepDeclarations>();
        std::string problem;
        try {
            if (const auto state = records_.lastState(key)) {
                *declared = OfrepDeclarations::from(parseJson(state->document).value_or(json::object()));
            }
        } catch (const std::exception& failure) {
            problem = failure.what();
        }
        net::post(io_, [this, key, declared, problem, then = std::move(then)] {
            if (!problem.empty()) {
                journal_.told(Terminal::Style::error, "the state of " + key + " cannot be read: " + problem);
            }
            if (const auto application = applications_.find(key); application != applications_.end()) {
                application->second.declared = declared;
            }
            then();
        });
    });
}

} // namespace kiv::tool
