#include "DebugScreen/FlagsPage.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <embedded/FlagsPage.h>
#include <openssl/crypto.h>

namespace kiv {
namespace {

constexpr std::size_t mostTabs = 16;

struct File {
    std::string_view path;
    std::string_view type;
    std::string_view content;
};
constexpr File files[] = {
    {"", "text/html; charset=utf-8", embedded::page_html},
    {"page.css", "text/css; charset=utf-8", embedded::page_css},
    {"page.js", "text/javascript; charset=utf-8", embedded::page_js},
    {"choice.js", "text/javascript; charset=utf-8", embedded::choice_js},
    {"list.js", "text/javascript; charset=utf-8", embedded::list_js},
    {"notices.js", "text/javascript; charset=utf-8", embedded::notices_js},
    {"overrides.js", "text/javascript; charset=utf-8", embedded::overrides_js},
    {"requests.js", "text/javascript; charset=utf-8", embedded::requests_js},
    {"rows.js", "text/javascript; charset=utf-8", embedded::rows_js},
    {"icon.svg", "image/svg+xml", embedded::icon_svg},
};

/// Compares in a time that tells nothing about where the two differ.
bool isSecret(std::string_view given, std::string_view secret) {
    return given.size() == secret.size() && CRYPTO_memcmp(given.data(), secret.data(), secret.size()) == 0;
}

HttpAnswer withBody(unsigned status, std::string_view type, std::string body) {
    return {.status = status,
            .body = std::make_shared<const std::string>(std::move(body)),
            .type = std::string(type)};
}

HttpAnswer refused(unsigned status, std::string_view why) {
    return withBody(status, "text/plain; charset=utf-8", std::string(why) + "\n");
}

HttpAnswer forbidden() { return refused(403, "Forbidden"); }

HttpAnswer document(json::object content) { return withBody(200, "application/json", compactJson(content)); }

std::string_view textOf(const json::object& wish, std::string_view field) {
    const auto* text = textMember(wish, field);
    return text ? std::string_view(*text) : std::string_view();
}

bool isSet(const json::object& wish, std::string_view field) {
    const auto* value = member(wish, field);
    return value && value->is_bool() && value->get_bool();
}

} // namespace

FlagsPage::FlagsPage(std::shared_ptr<const KIVFlagsViewController> presented, std::string token)
    : presented_(std::move(presented)), token_(std::move(token)) {}

void FlagsPage::setPort(unsigned short port) { own_.port = port; }

HttpHeaders FlagsPage::headers() {
    return {{"Cache-Control", "no-store"},
            {"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
             "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
            {"Referrer-Policy", "no-referrer"},
            {"X-Frame-Options", "DENY"},
            {"Cross-Origin-Resource-Policy", "same-origin"},
            {"Cross-Origin-Opener-Policy", "same-origin"}};
}

/// The path of the call below the token; nullopt when the call is not allowed.
std::optional<std::string_view> FlagsPage::allowedPath(const HttpCall& call) const {
    const std::string_view path = call.path;
    const std::size_t end = path.find('/', 1);
    if (end == std::string_view::npos || !isSecret(path.substr(1, end - 1), token_)) {
        return std::nullopt;
    }
    const std::string_view rest = path.substr(end + 1);
    return isFromOwnPage(call, own_, rest.empty()) ? std::optional(rest) : std::nullopt;
}

std::optional<HttpAnswer> FlagsPage::turnAway(const HttpCall& call) const {
    return allowedPath(call) ? std::nullopt : std::optional(forbidden());
}

HttpAnswer FlagsPage::answer(const HttpCall& call) {
    const auto path = allowedPath(call);
    if (!path) {
        return forbidden();
    }
    const std::string rest(*path);
    if (call.method == "GET" || call.method == "HEAD") {
        return read(rest);
    }
    return call.method == "POST" ? act(rest, call) : refused(405, "This takes GET and POST");
}

HttpAnswer FlagsPage::read(const std::string& path) const {
    const auto found =
        std::find_if(std::begin(files), std::end(files), [&](const File& each) { return each.path == path; });
    return found == std::end(files) ? refused(404, "Not found")
                                    : withBody(200, found->type, std::string(found->content));
}

HttpAnswer FlagsPage::act(const std::string& action, const HttpCall& call) {
    if (call.contentType != "application/json") {
        return refused(415, "This takes application/json");
    }
    const auto parsed = parseJson(call.body);
    const auto* wish = parsed ? parsed->if_object() : nullptr;
    if (!wish) {
        return refused(400, "This takes a JSON object");
    }
    const std::string_view id = textOf(*wish, "tab");
    if (id.empty() || id.size() > 64) {
        return refused(400, "This takes a \"tab\", the identifier of the tab that asks");
    }
    FlagsPageTab* known = knownTab(id);
    if (action == "load") {
        return document((known ? *known : newTab(id))
                            .load({.search = textOf(*wish, "search"),
                                   .inWholeNames = isSet(*wish, "inWholeNames"),
                                   .overriddenOnly = isSet(*wish, "overriddenOnly")}));
    }
    return known ? perform(action, *wish, *known) : refused(409, "This tab has to load first");
}

HttpAnswer FlagsPage::perform(const std::string& action, const json::object& wish, FlagsPageTab& tab) {
    const std::string_view name = textOf(wish, "name");
    bool isDone = true;
    if (action == "choices") {
        auto choices = tab.choices(name);
        return choices.empty() ? refused(400, "There is no such choice") : document(std::move(choices));
    }
    if (action == "rows") {
        const auto* from = member(wish, "from");
        const auto* count = member(wish, "count");
        return from && from->is_int64() && from->get_int64() >= 0 && count && count->is_int64() &&
                       count->get_int64() >= 0
                   ? document(tab.rows(from->to_number<std::size_t>(), count->to_number<std::size_t>()))
                   : refused(400, "This takes \"from\" and \"count\"");
    }
    if (action == "toggle") {
        const auto* isOn = member(wish, "isOn");
        isDone = isOn && isOn->is_bool() && tab.toggle(name, isOn->get_bool());
    } else if (action == "choose") {
        isDone = tab.choose(name, textOf(wish, "title"));
    } else if (action == "reset") {
        isDone = tab.reset(name);
    } else if (action == "resetAll") {
        tab.resetAll();
    } else if (action == "undoResetAll") {
        isDone = tab.undoResetAll();
    } else if (action != "changes") {
        return refused(404, "Not found");
    }
    return isDone ? document(tab.changes()) : refused(400, "There is no such row, or it cannot do that");
}

FlagsPageTab* FlagsPage::knownTab(std::string_view id) {
    const auto found =
        std::find_if(tabs_.begin(), tabs_.end(), [&](const Tab& each) { return each.id == id; });
    if (found == tabs_.end()) {
        return nullptr;
    }
    tabs_.splice(tabs_.begin(), tabs_, found);
    return &tabs_.front().content;
}

/// Makes a tab. When there are `mostTabs` already, drops the tab that was used longest ago, because closed
/// tabs do not report that they closed. A dropped tab that is still open is told to load anew.
FlagsPageTab& FlagsPage::newTab(std::string_view id) {
    if (tabs_.size() == mostTabs) {
        tabs_.pop_back();
    }
    return tabs_.emplace_front(std::string(id), *presented_).content;
}

} // namespace kiv
