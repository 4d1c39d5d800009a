#include "config/PayloadFolder.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>

#include "Command.h"
#include "Files.h"
#include "Model/KIVJSONKeys.h"
#include "Model/KeyForm.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Text/Dates.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view suffix = ".flags.json";

KIVDate changeTime(const std::string& file) {
    std::error_code missing;
    const fs::file_time_type time = fs::last_write_time(file, missing);
    return missing ? KIVDate() : floor<KIVDate::duration>(std::chrono::file_clock::to_sys(time));
}

/// A payload, and the text to sign: the file's own text, or a new one with "application" when the file leaves
/// that out.
struct Prepared {
    json::object payload;
    std::string text;
};

Prepared prepare(const std::string& key, const std::string& content) {
    const std::string_view text = withoutLastLineBreak(content);
    json::object written = parseObject(text, "");
    if (isEnvelope(written)) {
        throw BadInput("is an envelope already", std::nullopt,
                       "This folder holds payloads; the service signs them itself.");
    }
    const json::value* application = member(written, KIVC_JSON_appKey);
    if (!application) {
        json::object payload{{KIVC_JSON_appKey, key}};
        payload.insert(written.begin(), written.end());
        std::string filled = compactJson(payload);
        return {std::move(payload), std::move(filled)};
    }
    const json::string* name = application->if_string();
    if (name && *name != key) {
        throw BadInput("is made for another application: the file's name says " + inQuotes(key) +
                           ", its \"application\" " + inQuotes(*name),
                       std::nullopt, "\"application\" may be left out.");
    }
    return {std::move(written), std::string(text)};
}

} // namespace

PayloadFolder::PayloadFolder(std::string path, SigningIdentity identity)
    : path_(std::move(path)), identity_(std::move(identity)) {}

std::map<std::string, std::string> PayloadFolder::filesByKey() const {
    std::map<std::string, std::string> files;
    std::error_code problem;
    for (fs::directory_iterator each(path_, problem), end; !problem && each != end; each.increment(problem)) {
        const std::string name = each->path().filename().string();
        std::error_code missing;
        if (name.ends_with(suffix) && !name.starts_with('.') && each->is_regular_file(missing)) {
            files.emplace(name.substr(0, name.size() - suffix.size()), each->path().string());
        }
    }
    if (problem) {
        throw BadInput(path_ + ": cannot be read: " + problem.message(), std::nullopt,
                       adviceForFile(problem.value()));
    }
    return files;
}

std::vector<PayloadChange> PayloadFolder::changes() {
    const std::map<std::string, std::string> files = filesByKey();
    std::vector<PayloadChange> found;
    for (auto each = payloads_.begin(); each != payloads_.end();) {
        const bool isThere = files.contains(each->first);
        if (!isThere) {
            found.push_back(
                {PayloadChange::Kind::removed, each->first, each->first + std::string(suffix), nullptr, {}});
        }
        each = isThere ? std::next(each) : payloads_.erase(each);
    }
    for (const auto& [key, file] : files) {
        lookAt(key, file, found);
    }
    return found;
}

void PayloadFolder::lookAt(const std::string& key, const std::string& file,
                           std::vector<PayloadChange>& found) {
    // Reads the time before the file, so that no document is dated later than its content.
    const KIVDate changed = changeTime(file);
    Digest digest{};
    PayloadChange change{PayloadChange::Kind::refused, key, file, nullptr, {}};
    const auto known = payloads_.find(key);
    const Payload before = known == payloads_.end() ? Payload{} : known->second;
    try {
        const std::string content = readInput(file);
        digest = sha256(content);
        if (known != payloads_.end() && digest == before.seen) {
            return;
        }
        if (digest == before.published) {
            change.kind = PayloadChange::Kind::same;
        } else {
            change = checked(key, file, content, changed);
        }
    } catch (const BadInput& problem) {
        if (known != payloads_.end() && digest == before.seen) {
            return;
        }
        std::string message = problem.what();
        message.erase(0, message.starts_with(file + ": ") ? file.size() + 2 : 0);
        change.findings.push_back({true, {}, problem.spot, std::move(message), problem.advice});
    }
    payloads_[key] = {digest, change.kind == PayloadChange::Kind::published ? digest : before.published};
    found.push_back(std::move(change));
}

PayloadChange PayloadFolder::checked(const std::string& key, const std::string& file,
                                     const std::string& content, KIVDate changed) const {
    if (!isApplicationKeyForm(key) && !isUuidForm(key)) {
        throw BadInput("the file's name does not begin with a key, which is 24 hexadecimal digits or a UUID",
                       std::nullopt, "Rename it to KEY.flags.json.");
    }
    const Prepared prepared = prepare(key, content);
    PayloadChange change{PayloadChange::Kind::refused, key, file, nullptr,
                         DocumentLint(prepared.payload).findings()};
    if (std::ranges::none_of(change.findings, &Finding::isError)) {
        change.kind = PayloadChange::Kind::published;
        change.envelope = std::make_shared<const std::string>(
            signedEnvelope(identity_.key, prepared.text, dateText(changed)));
    }
    return change;
}

} // namespace kiv::tool
