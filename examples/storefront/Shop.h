#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <kiv/kiv.h>

#include "Report.h"

/// What the library told the application.
struct Heard {
    std::vector<KIVFetcherResult> fetched;
    std::map<std::string, bool> hadExperiment; ///< by flag, from its last impression
    std::vector<std::string> impressions;
    std::vector<std::string> failures; ///< of the application's own callbacks
    std::mutex linesLock;
    std::vector<std::string> lines; ///< of the debug log
};

struct Paths {
    std::string document;
    std::string certificate;
    std::string libraryFolder;
};

inline constexpr const char* fromExperiment = "experiment";
inline constexpr const char* noExperiment = "default: no experiment";
inline constexpr const char* undefinedValue = "default: expression is undefined";

/// The flag whose impressions the shop's handler cannot stand.
inline constexpr const char* tickerFlag = "store.ticker";

inline constexpr const char* sdkKey = "5e0bd1f2c3a4b5d6e7f80912";

std::string textOfFile(const std::string& path);

/// What the document's expressions ask for: a property of each kind, fixed or computed when asked for.
void describeCustomer();

/// Comes before the first call of `KIVCore`.
void configureHost(const Paths& paths, Heard& heard);

/// Says who the customer is, and sets up with the document.
void setUp(const Paths& paths, Heard& heard);

std::string numberText(double number);

std::string typeOf(const KIVFlag&);
std::string typeOf(const KIVString&);
std::string typeOf(const KIVInt&);
std::string typeOf(const KIVDouble&);

/// The value, read as an application reads it.
std::string read(const KIVFlag& flag);
std::string read(const KIVString& flag);
std::string read(const KIVInt& flag);
std::string read(const KIVDouble& flag);

/// Where the value of the last read came from.
std::string originOf(const KIVString& flag, const Heard& heard);

/// Reads the flags.
template <class... Flags>
std::vector<Row> rowsOf(const Heard& heard, const Flags&... flags) {
    std::vector<Row> rows;
    const auto add = [&](const auto& flag) {
        const std::string value = read(flag);
        rows.push_back({flag.name().value_or("(none)"), typeOf(flag), flag.defaultValue(), value,
                        originOf(flag, heard)});
    };
    (add(flags), ...);
    return rows;
}

/// The parts of the demonstration, in the order in which they run.
void showGenuine(const Paths& paths, Heard& heard, Report& report);
void showRefused(const Paths& paths, Heard& heard, Report& report);
void showCustomers(const Paths& paths, Heard& heard, Report& report);
/// In another process, after `showCustomers`.
void showNextStart(const Paths& paths, Heard& heard, Report& report);

struct LiveRun {
    std::string service; ///< its URL
    Paths paths;
    bool expectsStored = false; ///< an earlier start has stored a document
    std::string editedFile;     ///< the payload that somebody edits; none ends the run after the fetch
    bool stays = false;         ///< runs on until it is interrupted
};

/// With a service.
void runLive(const LiveRun& run, Report& report);
