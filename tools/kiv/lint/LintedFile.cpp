#include "lint/LintedFile.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string_view>
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

/// Bytes of a text.
struct Part {
    std::size_t begin;
    std::size_t end;
};

/// A payload, to find where in its text its findings are.
class PayloadSource {
public:
    explicit PayloadSource(std::string_view text) : source_(text) {
        const auto elements = [this](std::string_view name) {
            const auto array = source_.member(source_.root(), name);
            return array ? source_.elements(*array) : std::vector<std::size_t>();
        };
        experiments_ = elements(KIVC_JSON_data_experiments);
        targetGroups_ = elements(KIVC_JSON_data_targetGroups);
    }

    /// The start of the text for a finding without a place.
    Part partOf(const Finding& finding) const {
        const auto& spot = finding.spot;
        if (finding.place.kind == Place::Kind::document) {
            return spot ? Part{spot->position, spot->position + spot->length} : Part{0, 1};
        }
        const bool isExperiment = finding.place.kind == Place::Kind::experiment;
        const auto& elements = isExperiment ? experiments_ : targetGroups_;
        if (finding.place.index > elements.size()) {
            return {0, 1};
        }
        std::optional<std::size_t> value = elements[finding.place.index - 1];
        if (!spot) {
            return {*value, *value + 1};
        }
        if (isExperiment) {
            value = source_.member(*value, KIVC_JSON_data_experimentsDeploymentConfiguration);
        }
        value = value ? source_.member(*value, isExperiment ? KIVC_JSON_data_experimentsCondition
                                                            : KIVC_JSON_data_targetGroupsGroupCondition)
                      : std::nullopt;
        return value ? Part{source_.byteOf(*value, spot->position),
                            source_.byteOf(*value, spot->position + spot->length)}
                     : Part{0, 1};
    }

private:
    JsonSource source_;
    std::vector<std::size_t> experiments_; ///< where the elements begin
    std::vector<std::size_t> targetGroups_;
};

/// Lines and columns of bytes of the text, which are in ascending order. Reads the text once.
std::vector<LineColumn> lineColumns(std::string_view text, const std::vector<std::size_t>& bytes) {
    std::vector<LineColumn> result;
    LineColumn place{1, 1};
    std::size_t at = 0;
    for (const std::size_t byte : bytes) {
        for (; at < std::min(byte, text.size()); ++at) {
            if (text[at] == '\n') {
                place = {place.line + 1, 1};
            } else if ((text[at] & 0xC0) != 0x80) {
                ++place.column;
            }
        }
        result.push_back(place);
    }
    return result;
}

} // namespace

LintedFile::LintedFile(std::string path, const std::string& records, bool strict) : path_(std::move(path)) {
    try {
        text_ = readInput(path_);
        find(records);
    } catch (const BadInput& problem) {
        const std::string prefix = path_ + ": ";
        std::string message = problem.what();
        message.erase(0, message.starts_with(prefix) ? prefix.size() : 0);
        findings_.push_back({true, {}, problem.spot, std::move(message), problem.advice});
    }
    for (Finding& finding : findings_) {
        finding.isError = finding.isError || strict;
    }
}

void LintedFile::find(const std::string& records) {
    const ConfigDocument document(path_, text_);
    findings_ = DocumentLint(document.payload).findings();
    if (!records.empty()) {
        for (Finding& finding : unreportedFlags(document.payload, keyOf(document), records)) {
            findings_.push_back(std::move(finding));
        }
        std::ranges::stable_sort(findings_, {}, [](const Finding& finding) {
            return std::pair(finding.place.kind, finding.place.index);
        });
    }
}

std::vector<FileRegion> LintedFile::regions() const {
    const JsonSource file(text_);
    const auto data = file.member(file.root(), KIVC_JSON_data);
    const std::string content = data ? file.content(*data) : text_;
    const PayloadSource payload(content);
    // The bytes that all findings begin and end at: those in the payload, then those in the file itself.
    std::vector<std::pair<std::size_t, std::size_t>> inPayload; // byte, and index among all
    std::vector<std::pair<std::size_t, std::size_t>> inFile;
    for (std::size_t index = 0; index < findings_.size(); ++index) {
        const Finding& finding = findings_[index];
        const bool isAboutFile =
            finding.place.kind == Place::Kind::document && (!finding.spot || finding.spot->text == text_);
        const Part part = payload.partOf(finding);
        auto& bytes = isAboutFile || !data ? inFile : inPayload;
        bytes.emplace_back(part.begin, 2 * index);
        bytes.emplace_back(part.end, 2 * index + 1);
    }
    std::ranges::sort(inPayload);
    std::vector<std::size_t> bytes;
    std::ranges::transform(inPayload, std::back_inserter(bytes), [](const auto& each) { return each.first; });
    if (data) {
        file.toBytes(*data, bytes);
    }
    for (std::size_t each = 0; each < inPayload.size(); ++each) {
        inFile.emplace_back(bytes[each], inPayload[each].second);
    }
    std::ranges::sort(inFile);
    bytes.clear();
    std::ranges::transform(inFile, std::back_inserter(bytes), [](const auto& each) { return each.first; });
    const std::vector<LineColumn> places = lineColumns(text_, bytes);
    std::vector<FileRegion> regions(findings_.size());
    for (std::size_t each = 0; each < inFile.size(); ++each) {
        const std::size_t index = inFile[each].second;
        (index % 2 == 0 ? regions[index / 2].begin : regions[index / 2].end) = places[each];
    }
    return regions;
}

} // namespace kiv::tool
