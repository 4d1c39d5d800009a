#include <kiv/KIVDynamicPropertyContext.h>

#include <utility>

#include <boost/container/small_vector.hpp>

/// A node has either values or two contexts. Nothing here recurses, because contexts may be merged a million
/// times over.
struct KIVDynamicPropertyContext::Node {
    using Pointer = std::shared_ptr<const Node>;

    Values values;
    Pointer globalContext;
    Pointer localContext;

    Node(Values own, Pointer global, Pointer local)
        : values(std::move(own)), globalContext(std::move(global)), localContext(std::move(local)) {}
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /// Calls `visit` with the values of each context in the order of their precedence, until `visit` returns
    /// true.
    template <class Visit>
    void visitValues(Visit&& visit) const {
        boost::container::small_vector<const Node*, 8> waiting{this};
        while (!waiting.empty()) {
            const Node* node = waiting.back();
            waiting.pop_back();
            if (node->localContext) {
                waiting.push_back(node->globalContext.get());
                waiting.push_back(node->localContext.get());
            } else if (visit(node->values)) {
                return;
            }
        }
    }

    const KivxValue* find(std::string_view name) const {
        const KivxValue* value = nullptr;
        visitValues([&](const Values& own) {
            const auto found = own.find(name);
            value = found == own.end() || found->second.isNone() ? nullptr : &found->second;
            return value != nullptr;
        });
        return value;
    }

    void collect(Values& all) const {
        visitValues([&](const Values& own) {
            for (const auto& [name, value] : own) {
                if (!value.isNone()) {
                    all.emplace(name, value);
                }
            }
            return false;
        });
    }
};

/// Before this destructor releases a node that nobody else owns, it adds the contexts of that node to the
/// list. The destructor of that node then finds them shared and releases nothing further.
KIVDynamicPropertyContext::Node::~Node() {
    if (!localContext) {
        return;
    }
    boost::container::small_vector<Pointer, 8> owned;
    owned.push_back(std::move(globalContext));
    owned.push_back(std::move(localContext));
    while (!owned.empty()) {
        const Pointer node = std::move(owned.back());
        owned.pop_back();
        if (node->localContext && node.use_count() == 1) {
            owned.push_back(node->globalContext);
            owned.push_back(node->localContext);
        }
    }
}

KIVDynamicPropertyContext::KIVDynamicPropertyContext(Values values) {
    if (!values.empty()) {
        node_ = std::make_shared<const Node>(std::move(values), nullptr, nullptr);
    }
}

KIVDynamicPropertyContext KIVDynamicPropertyContext::merged(const KIVDynamicPropertyContext& globalContext,
                                                            const KIVDynamicPropertyContext& localContext) {
    if (!globalContext.node_ || !localContext.node_) {
        return globalContext.node_ ? globalContext : localContext;
    }
    return KIVDynamicPropertyContext(
        std::make_shared<const Node>(Values(), globalContext.node_, localContext.node_));
}

KivxValue KIVDynamicPropertyContext::get(std::string_view name) const {
    const KivxValue* found = node_ ? node_->find(name) : nullptr;
    return found ? *found : KivxValue();
}

KIVDynamicPropertyContext::Values KIVDynamicPropertyContext::values() const {
    Values all;
    if (node_) {
        node_->collect(all);
    }
    return all;
}
