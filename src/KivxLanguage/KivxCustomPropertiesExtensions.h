#pragma once

#include <memory>

#include <kiv/KIVCustomPropertyBlocks.h>

class KIVCustomPropertiesRepository;
class KivxParser;

/// The operator that reads a property (property).
class KivxCustomPropertiesExtensions {
public:
    /// The rule gives the values of properties that the repository lacks. Without a rule, the dynamic context
    /// of the read gives them.
    KivxCustomPropertiesExtensions(KivxParser& parser,
                                   std::shared_ptr<const KIVCustomPropertiesRepository> repository,
                                   KIVDynamicPropertiesRule rule = {});

    /// Adds the operator to the parser. It shares the repository and outlives this object. It fails with a
    /// `KIVUserspaceHandlerException` when a property's callback or the rule throws.
    void extend();

private:
    KivxParser& parser_;
    const std::shared_ptr<const KIVCustomPropertiesRepository> repository_;
    const KIVDynamicPropertiesRule rule_;
};
