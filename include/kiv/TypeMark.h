#pragma once

#include <string_view>
#include <typeinfo>

namespace kiv {

/// Stands for a type, so that two pieces of code can tell whether they mean the same one: also when they are
/// in two shared libraries, hide their symbols, or are compiled without run-time type information (RTTI).
///
/// Two marks of code with RTTI are equal when the types are. Otherwise the names that the compiler gives the
/// types are compared: types of unnamed namespaces, lambdas and, with g++, types declared in functions equal
/// themselves only within one executable or library. clang names a type that a function declares as if it
/// were a global one: without RTTI, do not use two of the same name.
class TypeMark {
public:
    /// `type` is null without RTTI. `function` is the name of a function that has the type in its name.
    constexpr TypeMark(const std::type_info* type, std::string_view function) noexcept
        : type_(type), name_(nameIn(function)) {}

    friend bool operator==(const TypeMark& a, const TypeMark& b) noexcept {
        if (&a == &b) {
            return true;
        }
        if (a.type_ && b.type_) {
            return *a.type_ == *b.type_;
        }
        return a.name_ == b.name_ && a.isNameUnique();
    }

private:
    /// The name of a type, in the name of a function template as g++ and clang write it: "… [with T = Name]"
    /// or "… [T = Name]".
    static constexpr std::string_view nameIn(std::string_view function) noexcept {
        const std::size_t start = function.find("T = ");
        return start == std::string_view::npos ? function : function.substr(start + 4);
    }

    /// g++ writes "{anonymous}" and "<lambda()>", clang "(anonymous namespace)" and "(lambda at …)"; a type
    /// that a function declares is "function()::Type" for g++.
    constexpr bool isNameUnique() const noexcept {
        return name_.find_first_of("({") == std::string_view::npos &&
               name_.find("<unnamed") == std::string_view::npos;
    }

    const std::type_info* type_;
    std::string_view name_;
};

template <class T>
constexpr TypeMark makeTypeMark() noexcept {
#if defined(__cpp_rtti)
    return {&typeid(T), __PRETTY_FUNCTION__};
#else
    return {nullptr, __PRETTY_FUNCTION__};
#endif
}

/// The mark of a type. Each executable and each library has its own object, so that this header keeps no
/// plug-in from being unloaded.
template <class T>
__attribute__((visibility("hidden"))) inline constexpr TypeMark typeMark = makeTypeMark<T>();

} // namespace kiv
