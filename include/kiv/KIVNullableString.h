#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// A text argument that may be nil: a C string, a `std::string`, a `std::string_view`, or nothing.
///
/// It borrows the text, so it is for parameters only: the caller keeps the text alive during the call.
class KIVNullableString {
public:
    constexpr KIVNullableString(std::nullptr_t) noexcept {}
    constexpr KIVNullableString(std::nullopt_t) noexcept {}
    KIVNullableString(const char* text) noexcept : isNil_(text == nullptr), text_(text ? text : "") {}
    KIVNullableString(const std::string& text) noexcept : isNil_(false), text_(text) {}
    constexpr KIVNullableString(std::string_view text) noexcept : isNil_(false), text_(text) {}
    KIVNullableString(const std::optional<std::string>& text) noexcept
        : isNil_(!text), text_(text ? std::string_view(*text) : std::string_view()) {}

    constexpr bool isNil() const noexcept { return isNil_; }

    /// The text; empty when nil.
    constexpr std::string_view view() const noexcept { return text_; }

    /// A copy of the text; empty when nil.
    std::string string() const { return std::string(text_); }

private:
    bool isNil_ = true;
    std::string_view text_;
};
