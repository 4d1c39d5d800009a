#include "config/Circles.h"

#include <algorithm>

#include "Model/KIVJSONKeys.h"
#include "Terminal.h"

namespace kiv::tool {
namespace {

constexpr std::size_t mostNames = 6;

std::string nameOf(const ExpressionReference& reference) {
    return (reference.use == ExpressionUse::targetGroup ? "target group " : "flag ") +
           inQuotes(reference.name);
}

} // namespace

Circles::Circles(const json::object& payload) {
    for (const auto& [flag, index] : deciders(payload)) {
        flags_.emplace(flag, std::pair(Place::Kind::experiment, index + 1));
    }
    std::size_t index = 0;
    for (const json::value& group : targetGroupsOf(payload)) {
        ++index;
        if (const json::string* identifier = textMember(group, KIVC_JSON_data_targetGroupsGroupId)) {
            groups_.emplace(*identifier, std::pair(Place::Kind::targetGroup, index));
        }
    }
}

void Circles::add(const Place& place, std::string_view condition,
                  const std::vector<ExpressionReference>& references) {
    nodesByPlace_.emplace(std::pair(place.kind, place.index), nodes_.size());
    nodes_.push_back({place, condition, references});
}

std::vector<Finding> Circles::findings() const {
    std::vector<Finding> found;
    std::vector<State> states(nodes_.size(), State::untouched);
    for (std::size_t node = 0; node < nodes_.size(); ++node) {
        if (states[node] == State::untouched) {
            walk(node, states, found);
        }
    }
    return found;
}

/// Follows all references from the node, the deepest first. Does not recurse, because a payload may have a
/// chain of any length.
void Circles::walk(std::size_t first, std::vector<State>& states, std::vector<Finding>& found) const {
    std::vector<Step> way{{first, nullptr}};
    states[first] = State::onTheWay;
    while (!way.empty()) {
        Step& last = way.back();
        const auto& references = nodes_[last.node].references;
        if (last.next == references.size()) {
            states[last.node] = State::done;
            way.pop_back();
            continue;
        }
        const ExpressionReference& reference = references[last.next++];
        const std::size_t* node = nodeOf(reference);
        if (node && states[*node] == State::onTheWay) {
            const auto start = std::ranges::find(way, *node, &Step::node);
            found.push_back(finding({start, way.end()}, reference));
        } else if (node && states[*node] == State::untouched) {
            states[*node] = State::onTheWay;
            way.push_back({*node, &reference});
        }
    }
}

/// The condition that the reference asks for; null when the payload has none.
const std::size_t* Circles::nodeOf(const ExpressionReference& reference) const {
    const auto& places = reference.use == ExpressionUse::targetGroup ? groups_ : flags_;
    const auto place = places.find(reference.name);
    if (place == places.end()) {
        return nullptr;
    }
    const auto node = nodesByPlace_.find(place->second);
    return node == nodesByPlace_.end() ? nullptr : &node->second;
}

/// The finding for the circle that `closing`, a reference of the last node of the way, makes with the first.
Finding Circles::finding(const std::vector<Step>& way, const ExpressionReference& closing) const {
    std::string circle = nameOf(closing);
    for (std::size_t index = 1; index < way.size(); ++index) {
        const bool isLeftOut =
            way.size() > mostNames && index >= mostNames / 2 && index < way.size() - mostNames / 2;
        circle += !isLeftOut ? " → " + nameOf(*way[index].entered) : index == mostNames / 2 ? " → …" : "";
    }
    const Node& last = nodes_[way.back().node];
    const bool isGroup = closing.use == ExpressionUse::targetGroup;
    return {true, last.place, Spot{std::string(last.condition), closing.position, closing.length},
            std::string("the ") + (isGroup ? "target group" : "flag") + " depends on itself",
            circle + " → " + nameOf(closing) + ". Where the circle closes, the evaluation fails: " +
                (isGroup ? "isInTargetGroup is false there." : "flagValue gives \"false\" there.")};
}

} // namespace kiv::tool
