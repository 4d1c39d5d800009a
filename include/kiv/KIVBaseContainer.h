#pragma once

#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>
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

    KIVContainerTable() = default;
    /// `isInherited`: the table is that of a base class of the container's class.
    explicit KIVContainerTable(bool isInherited) : isInherited_(isInherited) {}

    template <class T>
    void add(std::string_view name, T& member) {
        if constexpr (std::is_base_of_v<KIVString, T>) {
            members_.push_back({trimmed(name), &member, nullptr});
        } else if constexpr (std::is_convertible_v<T&, std::shared_ptr<KIVString>>) {
            std::shared_ptr<KIVString> shared = member;
            members_.push_back({trimmed(name), shared.get(), shared});
        }
    }

    bool isInherited() const { return isInherited_; }
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

    bool isInherited_ = false;
    std::vector<Member> members_;
};

/// The base of every class that declares flags as its members. Name the members with `KIV_CONTAINER`.
class KIV_API KIVBaseContainer {
public:
    virtual ~KIVBaseContainer();

    /// The table of the flag members. `KIV_CONTAINER` writes this function.
    virtual KIVContainerTable kivContainerTable() { return {}; }
};

/// Tells whether a container is of the very class that holds the mark, or of a class derived from it. Works
/// without run-time type information: while a class initialises its members, the object's virtual table is
/// the one of that class, and the constructor of a derived class replaces it.
class KIVContainerMark {
public:
    /// For the initialiser of a member of the container.
    explicit KIVContainerMark(const KIVBaseContainer& container) noexcept
        : virtualTable_(virtualTable(container)) {}

    bool isOfDerivedClass(const KIVBaseContainer& container) const noexcept {
        return virtualTable(container) != virtualTable_;
    }

    /// The virtual table of the container's class. The ABI of C++ on Linux and macOS has the pointer to it
    /// come first in an object.
    static const void* virtualTable(const KIVBaseContainer& container) noexcept {
        const void* table = nullptr;
        std::memcpy(&table, static_cast<const void*>(&container), sizeof table);
        return table;
    }

private:
    const void* virtualTable_;
};

/// Names the flag members of a container class, in a public or private part of it:
/// `KIV_CONTAINER(CheckoutFlags, expressCheckout, buttonColor)`. A member is a flag, or a `std::shared_ptr`
/// to a flag; members of other types are ignored. The flags that a base class declares are not registered
/// with a derived class.
#define KIV_CONTAINER(Class, ...)                                                                            \
private:                                                                                                     \
    KIVContainerMark kivContainerMark_{*this};                                                               \
                                                                                                             \
public:                                                                                                      \
    KIVContainerTable kivContainerTable() override {                                                         \
        static_assert(std::is_same_v<decltype(*this), Class&>, "KIV_CONTAINER takes the name of its class"); \
        KIVContainerTable kivTable(kivContainerMark_.isOfDerivedClass(*this));                               \
        std::string_view kivNames = #__VA_ARGS__;                                                            \
        [&](auto&... kivMember) {                                                                            \
            (kivTable.add(KIVContainerTable::nextName(kivNames), kivMember), ...);                           \
        }(__VA_ARGS__);                                                                                      \
        return kivTable;                                                                                     \
    }                                                                                                        \
    static_assert(true, "a semicolon follows")
