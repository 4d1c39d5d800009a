#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/Finding.h"
#include "expression/ExpressionReader.h"

namespace kiv::tool {

/// Finds the flags and target groups of a payload that depend on themselves, by way of others or at once.
class Circles {
public:
    /// `payload` is borrowed; so are the texts that are added.
    explicit Circles(const json::object& payload);

    /// Adds the condition of an experiment or a target group, with what it asks for.
    void add(const Place& place, std::string_view condition,
             const std::vector<ExpressionReference>& references);

    /// An error for each circle, at the reference that closes it.
    std::vector<Finding> findings() const;

private:
    struct Node {
        Place place;
        std::string_view condition;
        std::vector<ExpressionReference> references;
    };
    /// A node on the way from the first one, and the reference that led to it.
    struct Step {
        std::size_t node;
        const ExpressionReference* entered; ///< null for the first node
        std::size_t next = 0;               ///< the reference to follow next
    };
    enum class State { untouched, onTheWay, done };

    void walk(std::size_t first, std::vector<State>& states, std::vector<Finding>& found) const;
    const std::size_t* nodeOf(const ExpressionReference& reference) const;
    Finding finding(const std::vector<Step>& way, const ExpressionReference& closing) const;

    std::map<std::string, std::pair<Place::Kind, std::size_t>, std::less<>> flags_;
    std::map<std::string, std::pair<Place::Kind, std::size_t>, std::less<>> groups_;
    std::map<std::pair<Place::Kind, std::size_t>, std::size_t> nodesByPlace_;
    std::vector<Node> nodes_;
};

} // namespace kiv::tool
