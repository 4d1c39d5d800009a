#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CorvaneClient/KIVClientDataParser.h"

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
    KIVClientDataParserFactory(std::string distinctId, std::shared_ptr<const kiv::json::object> properties);

    std::unique_ptr<KIVClientDataParser>
    dataParserWithData(KIVConfigurationDataResult::Document data) const override;

    /// Always empty.
    const std::vector<std::string>& errors() const { return errors_; }

private:
    std::string distinctId_;
    std::shared_ptr<const kiv::json::object> properties_;
    std::vector<std::string> errors_;
};
