#include "service/Records.h"

#include "ConfigDocument.h"
#include "Platform/Clock.h"
#include "Platform/Dates.h"

namespace kiv::tool {
namespace {

Database opened(const std::string& file) {
    Database database(file);
    database.execute(R"(
        CREATE TABLE IF NOT EXISTS states (
            app_key  TEXT NOT NULL,
            hash     TEXT NOT NULL,
            document TEXT NOT NULL, -- what was posted, as JSON
            received TEXT NOT NULL, -- the last time it was posted
            PRIMARY KEY (app_key, hash)
        ) WITHOUT ROWID;
        CREATE TABLE IF NOT EXISTS impressions (
            id          INTEGER PRIMARY KEY,
            app_key     TEXT NOT NULL,
            flag        TEXT,
            value       TEXT,
            time        REAL, -- of the read, in seconds since 1970
            distinct_id TEXT,
            type        TEXT,
            platform    TEXT,
            sdk_version TEXT,
            received    TEXT NOT NULL
        );
        CREATE INDEX IF NOT EXISTS impressions_of_flags ON impressions (app_key, flag, value);
    )");
    return database;
}

std::optional<std::string_view> textOf(const json::object& object, std::string_view name) {
    const json::string* text = textMember(object, name);
    return text ? std::optional<std::string_view>(*text) : std::nullopt;
}

std::optional<double> numberOf(const json::object& object, std::string_view name) {
    const json::value* value = member(object, name);
    return value && value->is_number() ? std::optional(value->to_number<double>()) : std::nullopt;
}

std::string now() { return dateText(Clock::current().now()); }

} // namespace

Records::Records(const std::string& file)
    : database_(opened(file)),
      keepState_(database_.prepare("INSERT INTO states (app_key, hash, document, received) "
                                   "VALUES (?1, ?2, ?3, ?4) ON CONFLICT DO UPDATE "
                                   "SET document = excluded.document, received = excluded.received")),
      findState_(database_.prepare("SELECT document FROM states WHERE app_key = ?1 AND hash = ?2")),
      keepImpression_(database_.prepare(
          "INSERT INTO impressions "
          "(app_key, flag, value, time, distinct_id, type, platform, sdk_version, received) "
          "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)")) {}

void Records::keepState(std::string_view key, std::string_view hash, const json::object& document) {
    keepState_.run(key, hash, std::string_view(compactJson(document)), std::string_view(now()));
}

std::optional<std::string> Records::state(std::string_view key, std::string_view hash) {
    if (!findState_.run(key, hash)) {
        return std::nullopt;
    }
    std::string document = findState_.text(0);
    findState_.reset();
    return document;
}

std::size_t Records::keepImpressions(std::string_view key, const json::object& upload) {
    const std::string received = now();
    std::size_t kept = 0;
    database_.transaction([&] {
        for (const json::value& each : elements(upload, "events")) {
            if (const json::object* event = each.if_object()) {
                keepImpression_.run(key, textOf(*event, "flag"), textOf(*event, "value"),
                                    numberOf(*event, "time"), textOf(*event, "distinctId"),
                                    textOf(*event, "type"), textOf(upload, "platform"),
                                    textOf(upload, "sdkVersion"), std::string_view(received));
                ++kept;
            }
        }
    });
    return kept;
}

} // namespace kiv::tool
