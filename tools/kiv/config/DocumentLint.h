#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "config/Circles.h"
#include "config/ConfigDocument.h"
#include "config/Finding.h"
#include "expression/ArgumentCheck.h"

namespace kiv::tool {

/// Looks for mistakes in a payload, and for what its author probably did not mean.
class DocumentLint {
public:
    /// The payload must outlive this object.
    explicit DocumentLint(const json::object& payload);

    /// Findings about the document first, then about the experiments and the target groups, each in the
    /// document's order. Call it once.
    std::vector<Finding> findings();

private:
    enum class Type { text, boolean, array, object };

    void checkDocument();
    void checkExperiment(const json::object& experiment);
    void checkDeployment(const json::object& experiment);
    void checkFlags(const json::object& experiment, bool isSkipped);
    void checkFlag(const json::value& flag, Names& named, bool isSkipped);
    void checkExperimentId(const json::object& experiment);
    void checkTargetGroup(const json::object& group);
    void checkLabels(const json::object& experiment);
    void checkCondition(const json::value& condition, ExpressionUse use);
    void checkMemberNames(const json::object& object, std::span<const std::string_view> known);

    /// The member; null when it is missing. A member of another type adds a finding: an error if `isError`,
    /// else a warning.
    const json::value* checked(const json::object& object, std::string_view name, Type type, bool isError);

    template <class Check>
    void checkElements(std::string_view name, Place (*placeOf)(std::size_t, const json::value&), Check check);

    void error(std::string message, std::string advice = {});
    void warning(std::string message, std::string advice = {});

    const json::object& payload_;
    std::map<std::string_view, std::size_t> deciders_;
    Names targetGroups_;
    /// For each identifier, the number of the first element that has it, from 1.
    std::map<std::string, std::size_t> experimentIndexes_;
    std::map<std::string, std::size_t> groupIndexes_;
    Circles circles_;
    Place place_; ///< the part of the document that is being checked
    std::vector<Finding> findings_;
};

} // namespace kiv::tool
