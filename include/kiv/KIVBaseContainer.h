#pragma once

#include <initializer_list>
#include <memory>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <kiv/KIVExport.h>
#include <kiv/KIVString.h>

/// The flag members of one container class, in the order in which its `KIV_CONTAINER` names them.
class KIVContainerTable {
public:
    struct Member {
        std::string_view name;
        KIVString* flag;                  ///< null for an empty shared pointer
        std::shared_ptr<KIVString> owner; ///< the member, when it is a shared pointer
    };

    explicit KIVContainerTable(const std::type_info& declaringClass) : declaringClass_(&declaringClass) {}

    template <class T>
    void add(std::string_view name, T& member) {
        if constexpr (std::is_base_of_v<KIVString, T>) {
            members_.push_back({trimmed(name), &member, nullptr});
        } else if constexpr (std::is_convertible_v<T&, std::shared_ptr<KIVString>>) {
            std::shared_ptr<KIVString> shared = member;
            members_.push_back({trimmed(name), shared.get(), shared});
        }
    }

    const std::type_info& declaringClass() const { return *declaringClass_; }
    const std::vector<Member>& members() const { return members_; }

    /// Removes the first name from `names`, a comma-separated list, and returns that name.
    static std::string_view nextName(std::string_view& names) {
        const std::size_t comma = names.find(',');
        const std::string_view name = names.substr(0, comma);
        names = comma == std::string_view::npos ? std::string_view() : names.substr(comma + 1);
        return name;
    }

private:
    static std::string_view trimmed(std::string_view name) {
        const std::size_t first = name.find_first_not_of(" \t\r\n");
        const std::size_t last = name.find_last_not_of(" \t\r\n");
        return first == std::string_view::npos ? std::string_view() : name.substr(first, last - first + 1);
    }

    const std::type_info* declaringClass_;
    std::vector<Member> members_;
};

/// The base of every class that declares flags as its members. Name the members with `KIV_CONTAINER`.
class KIV_API KIVBaseContainer {
public:
    virtual ~KIVBaseContainer() = default;

    /// The table of the flag members. `KIV_CONTAINER` writes this function.
    virtual KIVContainerTable kivContainerTable() { return KIVContainerTable(typeid(KIVBaseContainer)); }
};

/// Names the flag members of a container class, in a public or private part of it:
/// `KIV_CONTAINER(CheckoutFlags, expressCheckout, buttonColor)`. A member is a flag, or a `std::shared_ptr`
/// to a flag; members of other types are ignored. The flags that a base class declares are not registered
/// with a derived class.
#define KIV_CONTAINER(Class, ...)                                                                            \
public:                                                                                                      \
    KIVContainerTable kivContainerTable() override {                                                         \
        KIVContainerTable kivTable(typeid(Class));                                                           \
        std::string_view kivNames = #__VA_ARGS__;                                                            \
        [&](auto&... kivMember) {                                                                            \
            (kivTable.add(KIVContainerTable::nextName(kivNames), kivMember), ...);                           \
        }(__VA_ARGS__);                                                                                      \
        return kivTable;                                                                                     \
    }                                                                                                        \
    static_assert(true, "a semicolon follows")
