#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Model/KIVConfigurationDataResult.h"
#include "Model/KIVExperimentDataParser.h"

/// The parts of a configuration payload that the client reads.
class KIVClientDataParserInterface {
public:
    virtual ~KIVClientDataParserInterface() = default;

    /// Never null.
    virtual std::shared_ptr<const KIVExperiments> experiments() const = 0;
    /// The target groups in the order of the document.
    virtual std::vector<KIVTargetGroupModel> targetGroups() const = 0;
    /// Identifier of the configuration's version.
    virtual std::optional<std::string> versionId() const = 0;
};

/// Reads one configuration payload. Members of the wrong kind count as absent. Immutable; does not throw.
class KIVClientDataParser : public KIVClientDataParserInterface {
public:
    using Document = KIVConfigurationDataResult::Document;

    /// Gives the device's properties. Is asked when a bundle has a matcher, because collecting the properties
    /// of an application with many flags takes long. May be empty: then there are none.
    using Properties = std::function<std::shared_ptr<const kiv::json::object>()>;

    /// `data` is the payload, or null for an empty payload.
    KIVClientDataParser(std::string distinctId, Properties properties, Document data);

    const std::string& distinctId() const { return distinctId_; }

    std::shared_ptr<const KIVExperiments> experiments() const override;
    std::vector<KIVTargetGroupModel> targetGroups() const override;
    std::optional<std::string> versionId() const override;

    /// The "bundle" of the first entry in "bundles" that matches the device; when none matches, the general
    /// "bundle". Null when that bundle is missing. Valid as long as the payload.
    const kiv::json::value* tweakBundle() const;

    /// The first element of `bundles` whose "matcher" agrees with the device's properties in each of its
    /// members; a matcher without members agrees with every device. Null when no element matches or `bundles`
    /// is null.
    const kiv::json::value* findMatchingBundle(const kiv::json::value* bundles) const;

private:
    bool isMatching(const kiv::json::value& bundle) const;
    const kiv::json::value* member(const char* name) const;

    std::string distinctId_;
    Properties properties_;
    Document data_;
    KIVExperimentDataParser experimentDataParser_;
};

/// Makes the parsers of configuration payloads.
class KIVClientDataParserFactoryInterface {
public:
    virtual ~KIVClientDataParserFactoryInterface() = default;

    /// A parser of the payload `data`; never null.
    virtual std::unique_ptr<KIVClientDataParser>
    dataParserWithData(KIVConfigurationDataResult::Document data) const = 0;
};

/// Makes parsers for one device. Immutable.
class KIVClientDataParserFactory : public KIVClientDataParserFactoryInterface {
public:
    KIVClientDataParserFactory(std::string distinctId, KIVClientDataParser::Properties properties)
        : distinctId_(std::move(distinctId)), properties_(std::move(properties)) {}

    std::unique_ptr<KIVClientDataParser>
    dataParserWithData(KIVConfigurationDataResult::Document data) const override {
        return std::make_unique<KIVClientDataParser>(distinctId_, properties_, std::move(data));
    }

    /// Always empty.
    const std::vector<std::string>& errors() const { return errors_; }

private:
    std::string distinctId_;
    KIVClientDataParser::Properties properties_;
    std::vector<std::string> errors_;
};
