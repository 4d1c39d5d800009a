#include "serve/Records.h"

#include <algorithm>

#include "Platform/System/Clock.h"
#include "Platform/Text/Dates.h"

namespace kiv::tool {
namespace {

/// Counts of the impressions. Triggers keep them right, also when another program adds or deletes
/// impressions. The two INSERT statements in the middle count the impressions that are there already.
constexpr const char* counting = R"(
    CREATE TABLE flag_counts (
        app_key TEXT NOT NULL,
        flag    TEXT NOT NULL,
        count   INTEGER NOT NULL,
        PRIMARY KEY (app_key, flag)
    ) WITHOUT ROWID;
    CREATE TABLE value_counts (
        app_key TEXT NOT NULL,
        flag    TEXT NOT NULL,
        value   TEXT NOT NULL,
        count   INTEGER NOT NULL,
        PRIMARY KEY (app_key, flag, value)
    ) WITHOUT ROWID;
    CREATE INDEX frequent_values ON value_counts (app_key, flag, count DESC);
    INSERT INTO value_counts SELECT app_key, ifnull(flag, ''), ifnull(value, ''), count(*)
        FROM impressions GROUP BY 1, 2, 3;
    INSERT INTO flag_counts SELECT app_key, flag, sum(count) FROM value_counts GROUP BY 1, 2;
    CREATE TRIGGER impression_added AFTER INSERT ON impressions BEGIN
        INSERT INTO flag_counts VALUES (new.app_key, ifnull(new.flag, ''), 1)
            ON CONFLICT DO UPDATE SET count = count + 1;
        INSERT INTO value_counts VALUES (new.app_key, ifnull(new.flag, ''), ifnull(new.value, ''), 1)
            ON CONFLICT DO UPDATE SET count = count + 1;
    END;
    CREATE TRIGGER impression_deleted AFTER DELETE ON impressions BEGIN
        UPDATE flag_counts SET count = count - 1
            WHERE app_key = old.app_key AND flag = ifnull(old.flag, '');
        UPDATE value_counts SET count = count - 1
            WHERE app_key = old.app_key AND flag = ifnull(old.flag, '') AND value = ifnull(old.value, '');
        DELETE FROM flag_counts
            WHERE app_key = old.app_key AND flag = ifnull(old.flag, '') AND count = 0;
        DELETE FROM value_counts
            WHERE app_key = old.app_key AND flag = ifnull(old.flag, '') AND value = ifnull(old.value, '')
                  AND count = 0;
    END;
    PRAGMA user_version = 1;
)";

/// What decides each flag since when, and an index that finds the impressions of a time. The former index
/// served the counting above alone.
constexpr const char* overTime = R"(
    CREATE TABLE flag_deciders (
        app_key TEXT NOT NULL,
        flag    TEXT NOT NULL,
        decider TEXT NOT NULL, -- a digest
        changed TEXT NOT NULL,
        PRIMARY KEY (app_key, flag)
    ) WITHOUT ROWID;
    CREATE INDEX impressions_over_time ON impressions (app_key, flag, time, value);
    DROP INDEX IF EXISTS impressions_of_flags;
    PRAGMA user_version = 2;
)";

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
        CREATE INDEX IF NOT EXISTS last_states ON states (app_key, received);
    )");
    database.transaction([&] {
        Database::Statement version = database.prepare("PRAGMA user_version");
        version.run();
        const std::int64_t found = version.number(0);
        version.reset();
        if (found < 1) {
            database.execute(counting);
        }
        if (found < 2) {
            database.execute(overTime);
        }
    });
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
      findLastState_(database_.prepare("SELECT hash || '@' || received, received, document FROM states "
                                       "WHERE app_key = ?1 ORDER BY received DESC LIMIT 1")),
      keepImpression_(database_.prepare(
          "INSERT INTO impressions "
          "(app_key, flag, value, time, distinct_id, type, platform, sdk_version, received) "
          "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)")),
      countFlags_(database_.prepare("SELECT flag, count FROM flag_counts WHERE app_key = ?1 "
                                    "ORDER BY flag")),
      countValues_(database_.prepare("SELECT value, count FROM value_counts WHERE app_key = ?1 AND flag = ?2 "
                                     "ORDER BY count DESC, value LIMIT ?3")),
      countLatest_(database_.prepare(
          "SELECT ifnull(value, ''), count(*) FROM (SELECT value FROM impressions WHERE app_key = ?1 AND "
          "flag = ?2 AND time >= ?3 AND time < ?4 ORDER BY time DESC LIMIT 10000) "
          "GROUP BY 1 ORDER BY 2 DESC, 1 LIMIT ?5")),
      countOverTime_(database_.prepare(
          "SELECT CAST((time - ?3) / ?5 AS INTEGER), "
          "CASE WHEN ifnull(value, '') IN (SELECT value FROM json_each(?6)) THEN ifnull(value, '') END, "
          "count(*) FROM impressions "
          "WHERE app_key = ?1 AND flag = ?2 AND time >= ?3 AND time < ?4 GROUP BY 1, 2")),
      findOrigins_(
          database_.prepare("SELECT ifnull(sdk_version, ''), ifnull(platform, ''), count(*) FROM "
                            "(SELECT sdk_version, platform FROM impressions WHERE app_key = ?1 AND flag = ?2 "
                            "ORDER BY time DESC LIMIT ?3) GROUP BY 1, 2 ORDER BY 3 DESC, 1 DESC, 2")),
      findDeciders_(database_.prepare("SELECT flag, decider, changed FROM flag_deciders WHERE app_key = ?1")),
      noteDecider_(
          database_.prepare("INSERT INTO flag_deciders VALUES (?1, ?2, ?3, ?4) ON CONFLICT DO UPDATE "
                            "SET decider = excluded.decider, changed = excluded.changed")),
      forgetDecider_(database_.prepare("DELETE FROM flag_deciders WHERE app_key = ?1 AND flag = ?2")) {}

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

std::optional<Records::LastState> Records::lastState(std::string_view key) {
    if (!findLastState_.run(key)) {
        return std::nullopt;
    }
    LastState last{findLastState_.text(0), findLastState_.text(1), findLastState_.text(2)};
    findLastState_.reset();
    return last;
}

Records::Counts Records::flagCounts(std::string_view key) {
    Counts counts;
    for (bool found = countFlags_.run(key); found; found = countFlags_.step()) {
        counts.emplace_back(countFlags_.text(0), countFlags_.number(1));
    }
    return counts;
}

Records::Counts Records::valueCounts(std::string_view key, std::string_view flag, std::int64_t most) {
    Counts counts;
    for (bool found = countValues_.run(key, flag, most); found; found = countValues_.step()) {
        counts.emplace_back(countValues_.text(0), countValues_.number(1));
    }
    return counts;
}

std::vector<std::string> Records::frequentValues(std::string_view key, std::string_view flag,
                                                 const Period& period, std::int64_t most) {
    std::vector<std::string> values;
    for (bool found = countLatest_.run(key, flag, period.start, period.end, most); found;
         found = countLatest_.step()) {
        values.push_back(countLatest_.text(0));
    }
    for (const auto& [value, count] : valueCounts(key, flag, most)) {
        if (std::ranges::find(values, value) == values.end()) {
            values.push_back(value);
        }
    }
    return values;
}

std::vector<Records::SlotCount> Records::countsOverTime(std::string_view key, std::string_view flag,
                                                        const Period& period, double width,
                                                        const std::vector<std::string>& values) {
    const std::string asked = compactJson(json::array(values.begin(), values.end()));
    std::vector<SlotCount> counts;
    for (bool found = countOverTime_.run(key, flag, period.start, period.end, width, std::string_view(asked));
         found; found = countOverTime_.step()) {
        counts.push_back(
            {countOverTime_.number(0), countOverTime_.optionalText(1), countOverTime_.number(2)});
    }
    return counts;
}

std::vector<Records::Origin> Records::latestOrigins(std::string_view key, std::string_view flag,
                                                    std::int64_t most) {
    std::vector<Origin> origins;
    for (bool found = findOrigins_.run(key, flag, most); found; found = findOrigins_.step()) {
        origins.push_back({findOrigins_.text(0), findOrigins_.text(1), findOrigins_.number(2)});
    }
    return origins;
}

void Records::noteDeciders(std::string_view key, const std::map<std::string, std::string>& deciders,
                           std::string_view date) {
    database_.transaction([&] {
        std::map<std::string, std::string> noted;
        for (bool found = findDeciders_.run(key); found; found = findDeciders_.step()) {
            noted.emplace(findDeciders_.text(0), findDeciders_.text(1));
        }
        for (const auto& [flag, decider] : deciders) {
            const auto before = noted.find(flag);
            if (before == noted.end() || before->second != decider) {
                noteDecider_.run(key, std::string_view(flag), std::string_view(decider), date);
            }
        }
        for (const auto& [flag, decider] : noted) {
            if (!deciders.contains(flag)) {
                forgetDecider_.run(key, std::string_view(flag));
            }
        }
    });
}

std::map<std::string, std::string> Records::flagChanges(std::string_view key) {
    std::map<std::string, std::string> changes;
    for (bool found = findDeciders_.run(key); found; found = findDeciders_.step()) {
        changes.emplace(findDeciders_.text(0), findDeciders_.text(2));
    }
    return changes;
}

std::size_t Records::keepImpressions(std::string_view key, const json::object& upload) {
    const std::string received = now();
    std::size_t kept = 0;
    const json::array* events = arrayMember(upload, "events");
    if (!events) {
        return 0;
    }
    database_.transaction([&] {
        for (const json::value& each : *events) {
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
