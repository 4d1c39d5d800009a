#pragma once

#include <memory>

#include <kiv/KIVCustomPropertyBlocks.h>

class KIVCustomPropertiesRepository;
class KivxParser;

/// The operator that reads the world (property).
class KivxCustomPropertiesExtensions {
public:
    /// The rule, when there is one, answers for all names that nobody registered; else the values that the
    /// read was given do.
    KivxCustomPropertiesExtensions(KivxParser& parser,
                                   std::shared_ptr<const KIVCustomPropertiesRepository> repository,
                                   KIVDynamicPropertiesRule rule = {});

    /// Registers the operator on the parser. It shares the repository and outlives this object. It fails with
    /// a `KIVUserspaceHandlerException` when a property's callback or the rule throws.
    void extend();

private:
    KivxParser& parser_;
    const std::shared_ptr<const KIVCustomPropertiesRepository> repository_;
    const KIVDynamicPropertiesRule rule_;
};
