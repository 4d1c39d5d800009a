#include "serve/Overview.h"

#include <algorithm>
#include <memory>

#include "embedded/OverviewPage.h"

namespace kiv::tool::overview {
namespace {

/// Limits of what the page shows, because applications may have sent any number of flags and values.
constexpr std::size_t mostRows = 1000;
constexpr std::size_t mostValues = 8;

std::string_view parameter(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::string_view part = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(part.size() + 1, query.size()));
        if (part.starts_with(name) && part.substr(name.size()).starts_with('=')) {
            return part.substr(name.size() + 1);
        }
    }
    return {};
}

std::string shortened(std::string_view text) {
    constexpr std::size_t mostBytes = 300;
    if (text.size() <= mostBytes) {
        return std::string(text);
    }
    std::size_t end = mostBytes;
    while (end > 0 && (text[end] & 0xC0) == 0x80) { // inside a character
        --end;
    }
    return std::string(text.substr(0, end)) + "…";
}

std::string shortMember(const json::value& object, std::string_view name) {
    const json::string* text = textMember(object, name);
    return text ? shortened(*text) : std::string();
}

json::array variations(const json::value& flag) {
    json::array texts;
    if (const json::array* options = arrayMember(flag, "options")) {
        for (const json::value& option : *options) {
            if (option.is_string() && texts.size() < mostValues) {
                texts.emplace_back(shortened(option.get_string()));
            }
        }
    }
    return texts;
}

/// The first `mostRows` elements of the document's array `name`, each as `shown` makes it.
template <class Shown>
json::array rows(const json::value& document, std::string_view name, Shown shown) {
    json::array rows;
    const json::array* elements = arrayMember(document, name);
    for (std::size_t index = 0; elements && index < std::min(elements->size(), mostRows); ++index) {
        rows.push_back(shown((*elements)[index]));
    }
    return rows;
}

json::value state(Records& records, std::string_view key, std::string_view known) {
    const auto last = records.lastState(key, known);
    if (!last) {
        return nullptr;
    }
    json::object shown{{"version", last->version}, {"received", last->received}};
    if (!last->document.empty()) {
        const json::value document = parseJson(last->document).value_or(json::object());
        shown["flags"] = rows(document, "feature_flags", [](const json::value& flag) {
            return json::object{{"name", shortMember(flag, "name")},
                                {"default", shortMember(flag, "defaultValue")},
                                {"variations", variations(flag)}};
        });
        shown["properties"] = rows(document, "custom_properties", [](const json::value& property) {
            return json::object{{"name", shortMember(property, "name")},
                                {"type", shortMember(property, "type")}};
        });
    }
    return shown;
}

json::array impressions(Records& records, std::string_view key) {
    json::array flags;
    for (const auto& counts : records.impressionCounts(key, mostRows, mostValues)) {
        json::array values;
        for (const auto& [value, count] : counts.values) {
            values.push_back({{"value", shortened(value)}, {"count", count}});
        }
        flags.push_back(
            {{"flag", shortened(counts.flag)}, {"count", counts.impressions}, {"values", values}});
    }
    return flags;
}

} // namespace

std::optional<HttpAnswer> file(std::string_view path) {
    using namespace embedded;
    static constexpr struct {
        std::string_view path;
        std::string_view type;
        std::string_view text;
    } files[] = {
        {pagePath, "text/html; charset=utf-8", overview_html},
        {"/overview.css", "text/css; charset=utf-8", overview_css},
        {"/overview.js", "text/javascript; charset=utf-8", overview_js},
    };
    const auto* found = std::ranges::find(files, path, [](const auto& each) { return each.path; });
    if (found == std::end(files)) {
        return std::nullopt;
    }
    return HttpAnswer{.body = std::make_shared<const std::string>(found->text),
                      .type = std::string(found->type),
                      .headers = {{"Content-Security-Policy",
                                   "default-src 'none'; script-src 'self'; style-src 'self'; connect-src "
                                   "'self'; img-src data:; base-uri 'none'; form-action 'none'; "
                                   "frame-ancestors 'none'"},
                                  {"Cross-Origin-Resource-Policy", "same-origin"},
                                  {"Referrer-Policy", "no-referrer"}}};
}

HttpAnswer data(Records& records, const std::vector<std::string>& keys, std::string_view query) {
    const auto asked = std::ranges::find(keys, parameter(query, "key"));
    json::object shown{{"keys", json::array(keys.begin(), keys.end())}};
    if (!keys.empty()) {
        const std::string& key = asked == keys.end() ? keys.front() : *asked;
        shown["key"] = key;
        shown["state"] = state(records, key, parameter(query, "state"));
        shown["impressions"] = impressions(records, key);
    }
    return {.body = std::make_shared<const std::string>(compactJson(shown)),
            .headers = {{"Cross-Origin-Resource-Policy", "same-origin"}}};
}

} // namespace kiv::tool::overview
