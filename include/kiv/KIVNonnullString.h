#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// A text argument that may not be nil: a C string, a `std::string` or a `std::string_view`. The compiler
/// refuses `nullptr`; a null pointer that it cannot see counts as the empty text.
///
/// It borrows the text, so it is for parameters only: the caller keeps the text alive during the call.
class KIVNonnullString {
public:
    KIVNonnullString(std::nullptr_t) = delete;
    KIVNonnullString(const char* text) noexcept : text_(text ? text : "") {}
    KIVNonnullString(const std::string& text) noexcept : text_(text) {}
    constexpr KIVNonnullString(std::string_view text) noexcept : text_(text) {}

    constexpr std::string_view view() const noexcept { return text_; }

    /// A copy of the text.
    std::string string() const { return std::string(text_); }

private:
    std::string_view text_;
};
