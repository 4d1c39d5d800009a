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

json::object toJson(const FileRegion& region) {
    return {{"startLine", region.begin.line},
            {"startColumn", region.begin.column},
            {"endLine", region.end.line},
            {"endColumn", region.end.column}};
}

json::object resultOf(const std::string& path, const Finding& finding, const FileRegion& region) {
    const std::string about = finding.place.text();
    const std::string text = (about.empty() ? "" : about + ": ") + finding.message + "." +
                             (finding.advice.empty() ? "" : " " + finding.advice);
    json::object location{
        {"physicalLocation", {{"artifactLocation", {{"uri", uriOf(path)}}}, {"region", toJson(region)}}}};
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
        const std::vector<FileRegion> regions = file.regions();
        for (std::size_t index = 0; index < regions.size(); ++index) {
            results.push_back(resultOf(file.path(), file.findings()[index], regions[index]));
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
