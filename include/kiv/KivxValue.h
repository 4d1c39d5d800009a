#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <kiv/KIVDate.h>
#include <kiv/KIVExport.h>

/// A value of the expression language, and what the application gives for properties.
///
/// `none` is the absence of a value (what an empty stack pops, what a callback answers for "I do not know");
/// `undefined` is a value of the language. Conversions follow one rule: `none` gives false, 0 or nothing;
/// `undefined` and values of a kind that cannot be converted throw a `KIVException`.
class KIV_API KivxValue {
public:
    enum class Kind { none, undefined, boolean, integer, real, string, date, array, dictionary };

    struct Less {
        bool operator()(const KivxValue& a, const KivxValue& b) const;
    };
    using Array = std::vector<KivxValue>;
    using Dictionary = std::map<KivxValue, KivxValue, Less>;

    KivxValue() noexcept = default;
    KivxValue(std::nullptr_t) noexcept {}
    KivxValue(std::nullopt_t) noexcept {}
    KivxValue(std::same_as<bool> auto value) noexcept : value_(value) {}
    template <std::integral Integer>
    requires(!std::same_as<Integer, bool>) KivxValue(Integer value)
    noexcept : value_(static_cast<std::int64_t>(value)) {}
    KivxValue(std::floating_point auto value) noexcept : value_(static_cast<double>(value)) {}
    KivxValue(std::string text) noexcept : value_(std::move(text)) {}
    KivxValue(std::string_view text) : value_(std::string(text)) {}
    KivxValue(const char* text) {
        if (text) {
            value_ = std::string(text);
        }
    }
    KivxValue(KIVDate date) noexcept : value_(date) {}
    KivxValue(Array elements) : value_(std::make_shared<const Array>(std::move(elements))) {}
    KivxValue(Dictionary members);

    static KivxValue undefined() noexcept { return KivxValue(Undefined()); }

    /// A text that is not copied: the caller keeps it alive as long as the value and its copies are used.
    static KivxValue borrowed(std::string_view text) noexcept { return KivxValue(Borrowed{text}); }

    Kind kind() const noexcept;
    bool isNone() const noexcept { return std::holds_alternative<None>(value_); }
    bool isUndefined() const noexcept { return std::holds_alternative<Undefined>(value_); }
    bool isBoolean() const noexcept { return std::holds_alternative<bool>(value_); }
    bool isString() const noexcept { return kind() == Kind::string; }
    /// A boolean, an integer or a double.
    bool isNumber() const noexcept;

    /// A number is true unless it is zero; a text is read leniently ("true", "yes", "1x" are true).
    bool boolValue() const;
    /// A double is cut off towards zero; a text is read up to where its digits end. Saturates.
    std::int64_t integerValue() const;
    double doubleValue() const;

    /// The text of a string, "true" or "false", or a number's decimal text; nothing for every other kind.
    std::optional<std::string> stringValue() const&;
    std::optional<std::string> stringValue() &&;

    /// The value as it appears in joined texts: booleans as 1 and 0, undefined as <null>, none as (null).
    std::string description() const;
    /// Appends the description to a text.
    void describeTo(std::string& text) const;

    /// The text, null or empty when the value is of another kind; valid as long as the value.
    std::optional<std::string_view> text() const noexcept;
    const KIVDate* date() const noexcept { return std::get_if<KIVDate>(&value_); }
    const Array* array() const noexcept;
    const Dictionary* dictionary() const noexcept;
    const std::int64_t* integer() const noexcept { return std::get_if<std::int64_t>(&value_); }
    const double* real() const noexcept { return std::get_if<double>(&value_); }

    /// A value that owns its text.
    KivxValue owned() &&;

    /// Numbers by value whatever their kind (true equals 1 equals 1.0), texts by content, `undefined` only
    /// itself, `none` nothing at all.
    friend KIV_API bool operator==(const KivxValue& a, const KivxValue& b);

private:
    struct None {};
    struct Undefined {};
    struct Borrowed {
        std::string_view text;
    };

    explicit KivxValue(Undefined mark) noexcept : value_(mark) {}
    explicit KivxValue(Borrowed text) noexcept : value_(text) {}

    std::variant<None, Undefined, bool, std::int64_t, double, std::string, Borrowed, KIVDate,
                 std::shared_ptr<const Array>, std::shared_ptr<const Dictionary>>
        value_;
};
