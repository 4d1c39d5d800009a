#include "lint/Sarif.h"

#include <cstdio>

#include "KIVBuildConfig.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

constexpr const char* expressionRule = "expression";
constexpr const char* documentRule = "document";

/// The path as a reference that a URI may be: relative paths stay relative.
std::string uriOf(const std::string& path) {
    constexpr std::string_view plain = "-._~/";
    std::string uri = path.starts_with('/') ? "file://" : "";
    for (const char c : path) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                             plain.find(c) != plain.npos;
        if (isPlain) {
            uri += c;
            continue;
        }
        char escaped[4];
        std::snprintf(escaped, sizeof escaped, "%%%02X", static_cast<unsigned char>(c));
        uri += escaped;
    }
    return uri;
}

json::object regionOf(const LintedFile& file, const Finding& finding) {
    const FilePart part = file.partOf(finding);
    const LineColumn begin = lineColumn(file.text(), part.begin);
    const LineColumn end = lineColumn(file.text(), part.end);
    return {{"startLine", begin.line},
            {"startColumn", begin.column},
            {"endLine", end.line},
            {"endColumn", end.column}};
}

json::object resultOf(const LintedFile& file, const Finding& finding) {
    const std::string about = finding.place.text();
    const std::string text = (about.empty() ? "" : about + ": ") + finding.message + "." +
                             (finding.advice.empty() ? "" : " " + finding.advice);
    json::object location{
        {"physicalLocation",
         {{"artifactLocation", {{"uri", uriOf(file.path())}}}, {"region", regionOf(file, finding)}}}};
    if (!about.empty()) {
        location["logicalLocations"] = json::array{json::object{{"fullyQualifiedName", about}}};
    }
    return {{"ruleId", finding.spot ? expressionRule : documentRule},
            {"level", finding.isError ? "error" : "warning"},
            {"message", {{"text", text}}},
            {"locations", json::array{std::move(location)}}};
}

json::object rule(const char* identifier, const char* text) {
    return {{"id", identifier}, {"shortDescription", {{"text", text}}}};
}

} // namespace

json::object sarifLog(const std::vector<LintedFile>& files) {
    json::array results;
    for (const LintedFile& file : files) {
        for (const Finding& finding : file.findings()) {
            results.push_back(resultOf(file, finding));
        }
    }
    json::object driver{
        {"name", "kiv"},
        {"version", build::version},
        {"rules",
         json::array{
             rule(expressionRule, "An expression that does not mean what its author means."),
             rule(documentRule, "A part of a document that applications do not read as its author means.")}}};
    json::object run{{"tool", {{"driver", std::move(driver)}}},
                     {"columnKind", "unicodeCodePoints"},
                     {"results", std::move(results)}};
    return {{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
            {"version", "2.1.0"},
            {"runs", json::array{std::move(run)}}};
}

} // namespace kiv::tool
