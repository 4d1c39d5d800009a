#pragma once

#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <kiv/KIVExport.h>
#include <kiv/KivxValue.h>

/// Values of properties for one flag read, or for all of them.
///
/// A small value: copies share what they hold, which never changes. Safe to use from any thread.
class KIV_API KIVDynamicPropertyContext {
public:
    using Values = std::map<std::string, KivxValue, std::less<>>;

    KIVDynamicPropertyContext() = delete;

    /// Property names and their values: texts, numbers and booleans reach expressions, all else is
    /// `undefined` there.
    explicit KIVDynamicPropertyContext(Values values);
    explicit KIVDynamicPropertyContext(std::initializer_list<Values::value_type> values)
        : KIVDynamicPropertyContext(Values(values)) {}

    /// Asks `localContext` first and `globalContext` for what that one does not know.
    static KIVDynamicPropertyContext merged(const KIVDynamicPropertyContext& globalContext,
                                            const KIVDynamicPropertyContext& localContext);

    /// A context without any value; costs nothing to make.
    static KIVDynamicPropertyContext empty() noexcept { return KIVDynamicPropertyContext(nullptr); }

    /// The value of that name; `none` when the context has none.
    KivxValue get(std::string_view name) const;

    bool isEmpty() const noexcept { return node_ == nullptr; }

    /// The values that can be reached, as `get` would answer them.
    Values values() const;

private:
    struct Node;

    explicit KIVDynamicPropertyContext(std::shared_ptr<const Node> node) noexcept : node_(std::move(node)) {}
    explicit KIVDynamicPropertyContext(std::nullptr_t) noexcept {}

    std::shared_ptr<const Node> node_; ///< null when there are no values
};
