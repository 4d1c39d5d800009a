#pragma once

#include <optional>
#include <string>
#include <string_view>

class KivxParser;

/// A named condition that holds for some users. Immutable.
class KIVTargetGroupModel {
public:
    KIVTargetGroupModel(std::optional<std::string> groupId, std::optional<std::string> condition);

    const std::optional<std::string>& groupId() const { return groupId_; }
    const std::optional<std::string>& condition() const { return condition_; }

    /// Whether the condition holds. Evaluates the condition with a default context, not with the context of
    /// the read. False when the condition is missing, undefined or fails. Throws a `KIVException` when its
    /// value is a date, an array or a dictionary.
    bool isApplicableWithParser(const KivxParser& parser, std::string_view flagName) const;

private:
    std::optional<std::string> groupId_;
    std::optional<std::string> condition_;
};
