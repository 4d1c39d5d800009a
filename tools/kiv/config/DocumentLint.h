#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Command.h"
#include "config/ConfigDocument.h"
#include "expression/ArgumentCheck.h"

namespace kiv::tool {

/// Something about a document that its author should know.
struct Finding {
    bool isError;
    Place place;
    std::optional<Spot> spot; ///< in the condition, when that is what the message is about
    std::string message;
    std::string advice; ///< may be empty

    /// Where the spot is; empty when there is none.
    std::string positionText() const;

    /// Everything about it on one line, printable, without a line break.
    std::string line(const std::string& path) const;
};

/// Looks for what is wrong in a payload, or probably not meant.
class DocumentLint {
public:
    /// The payload is borrowed.
    explicit DocumentLint(const json::object& payload);

    /// Experiments first, in the document's order. Call it once.
    std::vector<Finding> findings();

private:
    enum class Type { text, boolean, array, object };

    void checkDocument();
    void checkExperiment(const json::object& experiment);
    void checkDeployment(const json::object& experiment);
    void checkFlags(const json::object& experiment, bool isSkipped);
    void checkFlag(const json::value& flag, Names& named, bool isSkipped);
    void checkTargetGroup(const json::object& group, Names& identifiers);
    void checkLabels(const json::object& experiment);
    void checkCondition(const json::value& condition);
    void checkMemberNames(const json::object& object, std::span<const std::string_view> known);

    /// The member, null when it is missing; a finding when it is of another type.
    const json::value* checked(const json::object& object, std::string_view name, Type type, bool isError);

    template <class Check>
    void checkElements(std::string_view name, Place (*placeOf)(std::size_t, const json::value&), Check check);

    void error(std::string message, std::string advice = {});
    void warning(std::string message, std::string advice = {});

    const json::object& payload_;
    std::map<std::string_view, std::size_t> deciders_;
    Names targetGroups_;
    Place place_; ///< what is being looked at
    std::vector<Finding> findings_;
};

} // namespace kiv::tool
