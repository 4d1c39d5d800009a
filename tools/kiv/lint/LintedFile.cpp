#include "lint/LintedFile.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "Files.h"
#include "Model/KIVJSONKeys.h"
#include "config/ConfigDocument.h"
#include "config/DocumentLint.h"
#include "lint/JsonSource.h"
#include "lint/UnreportedFlags.h"

namespace kiv::tool {
namespace {

/// The key that the document is for: what it says itself, else, as in the folder of a service, the beginning
/// of the file's name.
std::string keyOf(const ConfigDocument& document) {
    if (const json::string* key = textMember(document.payload, KIVC_JSON_appKey)) {
        return std::string(*key);
    }
    const std::string name = std::filesystem::path(document.path).filename();
    return name.substr(0, name.find('.'));
}

} // namespace

LintedFile::LintedFile(std::string path, const std::string& states, bool strict) : path_(std::move(path)) {
    try {
        text_ = readInput(path_);
        find(states);
    } catch (const BadInput& problem) {
        const std::string prefix = path_ + ": ";
        std::string message = problem.what();
        message.erase(0, message.starts_with(prefix) ? prefix.size() : 0);
        findings_.push_back({true, {}, problem.spot, std::move(message), problem.advice});
    }
    locate();
    for (Finding& finding : findings_) {
        finding.isError = finding.isError || strict;
    }
}

void LintedFile::find(const std::string& states) {
    const ConfigDocument document(path_, text_);
    findings_ = DocumentLint(document.payload).findings();
    if (!states.empty()) {
        for (Finding& finding : unreportedFlags(document.payload, keyOf(document), states)) {
            findings_.push_back(std::move(finding));
        }
        std::ranges::stable_sort(findings_, {}, [](const Finding& finding) {
            return std::pair(finding.place.kind, finding.place.index);
        });
    }
}

/// Finds the parts of the file that findings are about.
void LintedFile::locate() {
    const JsonSource file(text_);
    data_ = file.member(file.root(), KIVC_JSON_data);
    payload_ = data_ ? file.content(*data_) : text_;
    const JsonSource payload(payload_);
    const auto elements = [&payload](std::string_view name) {
        const auto array = payload.member(payload.root(), name);
        return array ? payload.elements(*array) : std::vector<std::size_t>();
    };
    experiments_ = elements(KIVC_JSON_data_experiments);
    targetGroups_ = elements(KIVC_JSON_data_targetGroups);
}

FilePart LintedFile::partOf(const Finding& finding) const {
    const bool isAboutFile =
        finding.place.kind == Place::Kind::document && (!finding.spot || finding.spot->text == text_);
    if (isAboutFile) {
        const std::size_t begin = finding.spot ? std::min(finding.spot->position, text_.size()) : 0;
        return {begin, std::min(begin + (finding.spot ? finding.spot->length : 1), text_.size())};
    }
    const FilePart part = partOfPayload(finding).value_or(FilePart{0, 0});
    const JsonSource file(text_);
    return data_ ? FilePart{file.byteOf(*data_, part.begin), file.byteOf(*data_, part.end)} : part;
}

std::optional<FilePart> LintedFile::partOfPayload(const Finding& finding) const {
    if (finding.place.kind == Place::Kind::document) {
        return FilePart{finding.spot->position, finding.spot->position + finding.spot->length};
    }
    const bool isExperiment = finding.place.kind == Place::Kind::experiment;
    const auto& elements = isExperiment ? experiments_ : targetGroups_;
    if (finding.place.index > elements.size()) {
        return {};
    }
    const JsonSource source(payload_);
    std::optional<std::size_t> value = elements[finding.place.index - 1];
    if (!finding.spot) {
        return FilePart{*value, *value + 1};
    }
    if (isExperiment) {
        value = source.member(*value, KIVC_JSON_data_experimentsDeploymentConfiguration);
    }
    value = value ? source.member(*value, isExperiment ? KIVC_JSON_data_experimentsCondition
                                                       : KIVC_JSON_data_targetGroupsGroupCondition)
                  : std::nullopt;
    if (!value) {
        return {};
    }
    const std::size_t begin = finding.spot->position;
    return FilePart{source.byteOf(*value, begin), source.byteOf(*value, begin + finding.spot->length)};
}

} // namespace kiv::tool
