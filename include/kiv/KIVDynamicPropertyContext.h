#pragma once

#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <kiv/KIVExport.h>
#include <kiv/KivxValue.h>

/// Values of properties for one flag read, or for all reads.
///
/// Immutable. Copies are cheap, because they share the values. Any thread may use a context.
class KIV_API KIVDynamicPropertyContext {
public:
    using Values = std::map<std::string, KivxValue, std::less<>>;

    KIVDynamicPropertyContext() = delete;

    /// Takes property names and their values. Texts, numbers and booleans reach expressions; every other
    /// value is `undefined` there. A value of `none` counts as absent.
    explicit KIVDynamicPropertyContext(Values values);
    explicit KIVDynamicPropertyContext(std::initializer_list<Values::value_type> values)
        : KIVDynamicPropertyContext(Values(values)) {}

    /// The values of both contexts; for a name that both have, the value of `localContext`.
    static KIVDynamicPropertyContext merged(const KIVDynamicPropertyContext& globalContext,
                                            const KIVDynamicPropertyContext& localContext);

    /// A context without any value; costs nothing to make.
    static KIVDynamicPropertyContext empty() noexcept { return KIVDynamicPropertyContext(nullptr); }

    /// The value of that name; `none` when the context lacks it.
    KivxValue get(std::string_view name) const;

    bool isEmpty() const noexcept { return node_ == nullptr; }

    /// All names and the values that `get` returns for them.
    Values values() const;

private:
    struct Node;

    explicit KIVDynamicPropertyContext(std::shared_ptr<const Node> node) noexcept : node_(std::move(node)) {}
    explicit KIVDynamicPropertyContext(std::nullptr_t) noexcept {}

    std::shared_ptr<const Node> node_; ///< null when there are no values
};
