#include <kiv/KIVDynamicPropertyContext.h>

struct KIVDynamicPropertyContext::Node {
    // A node has either values or two contexts.
    Values values;
    std::shared_ptr<const Node> globalContext;
    std::shared_ptr<const Node> localContext;

    const KivxValue* find(std::string_view name) const {
        if (!localContext) {
            const auto found = values.find(name);
            return found == values.end() || found->second.isNone() ? nullptr : &found->second;
        }
        const KivxValue* found = localContext->find(name);
        return found ? found : globalContext->find(name);
    }

    void collect(Values& all) const {
        if (localContext) {
            localContext->collect(all);
            globalContext->collect(all);
        }
        for (const auto& [name, value] : values) {
            if (!value.isNone()) {
                all.emplace(name, value);
            }
        }
    }
};

KIVDynamicPropertyContext::KIVDynamicPropertyContext(Values values) {
    if (!values.empty()) {
        node_ = std::make_shared<const Node>(Node{std::move(values), nullptr, nullptr});
    }
}

KIVDynamicPropertyContext KIVDynamicPropertyContext::merged(const KIVDynamicPropertyContext& globalContext,
                                                            const KIVDynamicPropertyContext& localContext) {
    if (!globalContext.node_ || !localContext.node_) {
        return globalContext.node_ ? globalContext : localContext;
    }
    return KIVDynamicPropertyContext(
        std::make_shared<const Node>(Node{{}, globalContext.node_, localContext.node_}));
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
