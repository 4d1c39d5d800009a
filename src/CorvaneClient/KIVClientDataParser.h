#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Model/KIVConfigurationDataResult.h"
#include "Model/KIVExperimentDataParser.h"

/// What a configuration payload is asked for.
class KIVClientDataParserInterface {
public:
    virtual ~KIVClientDataParserInterface() = default;

    /// Never null.
    virtual std::shared_ptr<const KIVExperiments> experiments() const = 0;
    /// In the order of the document.
    virtual std::vector<KIVTargetGroupModel> targetGroups() const = 0;
    /// Identifier of the configuration's version.
    virtual std::optional<std::string> versionId() const = 0;
};

/// Reads one configuration payload. Members of the wrong kind count as absent. Immutable; does not throw.
class KIVClientDataParser : public KIVClientDataParserInterface {
public:
    using Document = KIVConfigurationDataResult::Document;

    /// `properties` are those of the device; `data` is the payload, null for an empty one.
    KIVClientDataParser(std::string distinctId, std::shared_ptr<const kiv::json::object> properties,
                        Document data);

    const std::string& distinctId() const { return distinctId_; }

    std::shared_ptr<const KIVExperiments> experiments() const override;
    std::vector<KIVTargetGroupModel> targetGroups() const override;
    std::optional<std::string> versionId() const override;

    /// What the payload holds for this very device: the "bundle" of the first bundle that matches, else the
    /// general one; null when there is none. Valid as long as the payload.
    const kiv::json::value* tweakBundle() const;

    /// The first of the bundles (null: none) whose "matcher" agrees with the device's properties in each of
    /// its members; one without members agrees with every device. Null when none does.
    const kiv::json::value* findMatchingBundle(const kiv::json::value* bundles) const;

private:
    bool isMatching(const kiv::json::value& bundle) const;
    const kiv::json::value* member(const char* name) const;

    std::string distinctId_;
    std::shared_ptr<const kiv::json::object> properties_;
    Document data_;
    KIVExperimentDataParser experimentDataParser_;
};

/// Makes the parsers of configuration payloads.
class KIVClientDataParserFactoryInterface {
public:
    virtual ~KIVClientDataParserFactoryInterface() = default;

    /// Never null.
    virtual std::unique_ptr<KIVClientDataParser>
    dataParserWithData(KIVConfigurationDataResult::Document data) const = 0;
};

/// Makes parsers for one device. Immutable.
class KIVClientDataParserFactory : public KIVClientDataParserFactoryInterface {
public:
    KIVClientDataParserFactory(std::string distinctId, std::shared_ptr<const kiv::json::object> properties)
        : distinctId_(std::move(distinctId)), properties_(std::move(properties)) {}

    std::unique_ptr<KIVClientDataParser>
    dataParserWithData(KIVConfigurationDataResult::Document data) const override {
        return std::make_unique<KIVClientDataParser>(distinctId_, properties_, std::move(data));
    }

    /// Always empty.
    const std::vector<std::string>& errors() const { return errors_; }

private:
    std::string distinctId_;
    std::shared_ptr<const kiv::json::object> properties_;
    std::vector<std::string> errors_;
};
