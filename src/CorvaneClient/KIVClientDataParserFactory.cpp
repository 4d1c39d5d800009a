#include "CorvaneClient/KIVClientDataParserFactory.h"

#include <utility>

KIVClientDataParserFactory::KIVClientDataParserFactory(std::string distinctId,
                                                       std::shared_ptr<const kiv::json::object> properties)
    : distinctId_(std::move(distinctId)), properties_(std::move(properties)) {}

std::unique_ptr<KIVClientDataParser>
KIVClientDataParserFactory::dataParserWithData(KIVConfigurationDataResult::Document data) const {
    return std::make_unique<KIVClientDataParser>(distinctId_, properties_, std::move(data));
}
