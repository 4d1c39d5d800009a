#include "lint/UnreportedFlags.h"

#include <filesystem>
#include <stdexcept>

#include "Reporting/KIVDevicePropertyKeys.h"
#include "Terminal.h"
#include "config/DataFolder.h"
#include "expression/ArgumentCheck.h"
#include "expression/Words.h"
#include "serve/Database.h"

namespace kiv::tool {
namespace {

/// What applications with a key have reported.
struct Reported {
    std::size_t states = 0;
    Names flags = {};
};

Reported reportedFor(std::string_view key, const std::string& file) {
    Reported reported;
    try {
        Database database = Database::readOnly(file);
        Database::Statement query = database.prepare("SELECT document FROM states WHERE app_key = ?1");
        for (bool found = query.run(key); found; found = query.step()) {
            const auto document = parseJson(query.text(0));
            const json::array* flags =
                document ? arrayMember(*document, KIVC_DEVICE_PROPERTIES_FEATURE_FLAGS) : nullptr;
            ++reported.states;
            for (const json::value& flag : flags ? *flags : json::array()) {
                if (const json::string* name = textMember(flag, KIVC_FEATURE_FLAG_NAME)) {
                    reported.flags.emplace(*name);
                }
            }
        }
    } catch (const std::runtime_error& problem) {
        throw BadInput(file + ": cannot be read: " + problem.what(), std::nullopt,
                       "'kiv serve' brings records of an older kiv up to date when it opens them.");
    }
    return reported;
}

} // namespace

std::string recordsOfService(const std::string& folder) {
    std::string file = recordsFile(folder);
    return std::filesystem::exists(file) ? file : existingRecords(folder, "");
}

std::vector<Finding> unreportedFlags(const json::object& payload, const std::string& key,
                                     const std::string& records) {
    const Reported reported = reportedFor(key, records);
    std::vector<Finding> findings;
    if (reported.states == 0) {
        findings.push_back({false,
                            {},
                            {},
                            "no application with the key " + inQuotes(key) + " has reported its flags",
                            "Start an application that uses the service, or leave --states out."});
        return findings;
    }
    const std::vector<std::string_view> known(reported.flags.begin(), reported.flags.end());
    Names told;
    std::size_t index = 0;
    for (const json::value& experiment : experimentsOf(payload)) {
        const Place place = experimentPlace(++index, experiment);
        for (const std::string_view flag : flagsOf(experiment)) {
            if (reported.flags.contains(flag) || !told.emplace(flag).second) {
                continue;
            }
            findings.push_back(
                {false,
                 place,
                 {},
                 "no application has ever reported the flag " + inQuotes(flag),
                 didYouMean(flag, known).empty()
                     ? "Applications report the flags that they register: check the spelling, or "
                       "register it."
                     : didYouMean(flag, known)});
        }
    }
    return findings;
}

} // namespace kiv::tool
