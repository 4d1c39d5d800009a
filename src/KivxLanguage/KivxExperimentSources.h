#pragma once

#include <optional>
#include <string>
#include <string_view>

class KivxParser;
struct EvaluationContext;

/// Gives the experiment operators the target groups. Called on whichever thread evaluates.
class KivxTargetGroupSource {
public:
    virtual ~KivxTargetGroupSource() = default;

    /// Whether there is a group of that identifier and its condition, evaluated with the parser, holds. An
    /// exception makes the evaluation fail.
    virtual bool isInTargetGroup(std::string_view identifier, const KivxParser& parser,
                                 std::string_view flagName) const = 0;

    /// Whether this device was linked to a group of that identifier; the document need not have the group.
    virtual bool isTargetGroupPaired(std::string_view identifier) const = 0;
};

/// Gives the experiment operators the values of flags. Called on whichever thread evaluates.
class KivxFlagValueSource {
public:
    virtual ~KivxFlagValueSource() = default;

    /// The value that a read of the registered flag with this context gives. When no flag of that name is
    /// registered, the value that the configuration gives for the name; nothing when the configuration gives
    /// none.
    virtual std::optional<std::string> valueOfFlag(std::string_view name,
                                                   const EvaluationContext& context) const = 0;
};
