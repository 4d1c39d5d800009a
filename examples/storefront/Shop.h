#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <kiv/kiv.h>

#include "Report.h"

/// Everything that the library told the shop, through the callbacks that `setUp` and `configureHost` hand
/// over.
struct Heard {
    std::vector<KIVFetcherResult> fetched;
    std::map<std::string, bool> hadExperiment; ///< by flag name: whether the last read had an experiment
    std::vector<std::string> impressions;      ///< descriptions, one for each evaluated read
    std::vector<std::string> failures;         ///< exceptions of the shop's own callbacks
    std::mutex linesLock;                      ///< for `lines`, as several threads log
    std::vector<std::string> lines;            ///< the debug log
};

struct Paths {
    std::string document;      ///< the signed document that is shipped with the shop
    std::string certificate;   ///< text file with the certificate that verifies the document
    std::string libraryFolder; ///< the library keeps its files here
};

/// Where the value of a read came from, as the tables print it.
inline constexpr const char* fromExperiment = "experiment";
inline constexpr const char* noExperiment = "default: no experiment";
inline constexpr const char* undefinedValue = "default: expression is undefined";

/// The shop's impression handler throws when this flag is read, to show what the library does then.
inline constexpr const char* tickerFlag = "store.ticker";

/// The key of this application. A document is made for one key.
inline constexpr const char* sdkKey = "5e0bd1f2c3a4b5d6e7f80912";

/// The first line of the file.
std::string textOfFile(const std::string& path);

/// Sets the properties that the document's expressions ask for: at least one of each kind. Two have a
/// callback, which computes the value whenever an expression asks.
void describeCustomer();

/// Tells the library about the application: its version, its folder and where to log. To be called before the
/// first call of `KIVCore`.
void configureHost(const Paths& paths, Heard& heard);

/// Describes the customer, and sets up with the document and without a service.
void setUp(const Paths& paths, Heard& heard);

/// The number without trailing zeros: "0.15".
std::string numberText(double number);

std::string typeOf(const KIVFlag&);
std::string typeOf(const KIVString&);
std::string typeOf(const KIVInt&);
std::string typeOf(const KIVDouble&);

/// Reads the flag as an application does. Returns the value as a text.
std::string read(const KIVFlag& flag);
std::string read(const KIVString& flag);
std::string read(const KIVInt& flag);
std::string read(const KIVDouble& flag);

/// Where the value of the flag's last read came from: one of the three texts above.
std::string originOf(const KIVString& flag, const Heard& heard);

/// Reads each flag once, and returns a row of the table for each.
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

/// The parts of the demonstration, in the order in which run-demo.sh starts them: each in a process of its
/// own.
void showGenuine(const Paths& paths, Heard& heard, Report& report);
void showRefused(const Paths& paths, Heard& heard, Report& report);
void showCustomers(const Paths& paths, Heard& heard, Report& report);
/// The start after `showCustomers`, with the same folder: the override that was set there is still in effect.
void showNextStart(const Paths& paths, Heard& heard, Report& report);

struct LiveRun {
    std::string service; ///< URL of the service
    Paths paths;
    bool expectsStored = false; ///< whether an earlier start stored a document
    std::string editedFile;     ///< the payload that is edited meanwhile; empty: the run ends before any edit
    bool stays = false;         ///< run until Ctrl-C, and present the flags screen
};

/// The part with a service: shows which document is in use, and what happens when the payload is edited.
void runLive(const LiveRun& run, Report& report);
