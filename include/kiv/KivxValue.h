#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <kiv/KIVDate.h>
#include <kiv/KIVExport.h>

/// A value of the expression language. Applications use it for the values of properties.
///
/// `none` is the absence of a value: the argument that an expression leaves out, or a callback's "I do not
/// know". `undefined` is a value of the language. Several threads may read one value at the same time.
class KIV_API KivxValue {
    /// The types of up to 64 bits that hold whole numbers: neither bool nor a character.
    template <class T>
    static constexpr bool isIntegerType = std::is_integral_v<T> && sizeof(T) <= sizeof(std::int64_t) &&
                                          !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
                                          !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char16_t> &&
                                          !std::is_same_v<T, char32_t> && !std::is_same_v<T, decltype(u8'a')>;

public:
    enum class Kind { none, undefined, boolean, integer, real, string, date, array, dictionary };

    /// Orders values by kind, then by value; all numbers are one kind.
    struct Less {
        bool operator()(const KivxValue& a, const KivxValue& b) const;
    };
    using Array = std::vector<KivxValue>;
    /// The elements of an array, which somebody else keeps.
    class Elements {
    public:
        Elements() = default;
        Elements(const KivxValue* first, std::size_t count) noexcept : first_(first), count_(count) {}

        const KivxValue* begin() const noexcept { return first_; }
        const KivxValue* end() const noexcept { return first_ + count_; }
        std::size_t size() const noexcept { return count_; }
        const KivxValue& operator[](std::size_t index) const noexcept { return first_[index]; }

    private:
        const KivxValue* first_;
        std::size_t count_;
    };
    /// A text that somebody else keeps.
    struct BorrowedText {
        std::string_view text;
    };
    using Dictionary = std::map<KivxValue, KivxValue, Less>;

    KivxValue() noexcept {}
    KivxValue(std::nullptr_t) noexcept {}
    KivxValue(std::nullopt_t) noexcept {}
    template <class Bool, std::enable_if_t<std::is_same_v<Bool, bool>, int> = 0>
    KivxValue(Bool value) noexcept : form_(Form::boolean), plain_(value) {}
    /// A number beyond the signed range of 64 bits becomes a double.
    template <class Integer, std::enable_if_t<isIntegerType<Integer>, long> = 0>
    KivxValue(Integer value) noexcept : form_(Form::integer), plain_(static_cast<std::int64_t>(value)) {
        if constexpr (std::is_unsigned_v<Integer> && sizeof(Integer) >= sizeof(std::int64_t)) {
            if (value > static_cast<Integer>(std::numeric_limits<std::int64_t>::max())) {
                *this = KivxValue(static_cast<double>(value));
            }
        }
    }
    template <class Real, std::enable_if_t<std::is_floating_point_v<Real>, char> = 0>
    KivxValue(Real value) noexcept : form_(Form::real), plain_(static_cast<double>(value)) {}
    KivxValue(std::string text) noexcept : form_(Form::owned), owned_(std::move(text)) {}
    KivxValue(std::string_view text) : KivxValue(std::string(text)) {}
    KivxValue(const char* text) {
        if (text) {
            *this = KivxValue(std::string(text));
        }
    }
    KivxValue(KIVDate date) noexcept : form_(Form::date), plain_(date) {}
    KivxValue(Array elements)
        : form_(Form::owned), owned_(std::make_shared<const Array>(std::move(elements))) {}
    KivxValue(Dictionary members);

    /// A text or an array that is not copied: the caller keeps it alive as long as the value and its copies
    /// are used.
    explicit KivxValue(BorrowedText text) noexcept : form_(Form::borrowed), plain_(text.text) {}
    explicit KivxValue(Elements elements) noexcept : form_(Form::elements), plain_(elements) {}

    KivxValue(const KivxValue& other) : form_(other.form_) {
        if (isPlain()) {
            plain_ = other.plain_;
        } else {
            new (&owned_) Owned(other.owned_);
        }
    }
    KivxValue(KivxValue&& other) noexcept : form_(other.form_) {
        if (isPlain()) {
            plain_ = other.plain_;
        } else {
            new (&owned_) Owned(std::move(other.owned_));
        }
    }
    KivxValue& operator=(const KivxValue& other) { return *this = KivxValue(other); }
    KivxValue& operator=(KivxValue&& other) noexcept {
        if (this != &other) {
            std::destroy_at(this);
            new (this) KivxValue(std::move(other));
        }
        return *this;
    }
    ~KivxValue() {
        if (!isPlain()) {
            std::destroy_at(&owned_);
        }
    }

    static KivxValue undefined() noexcept { return KivxValue(Form::undefined, {}); }

    static KivxValue borrowed(std::string_view text) noexcept { return KivxValue(BorrowedText{text}); }

    Kind kind() const noexcept;
    bool isNone() const noexcept { return form_ == Form::none; }
    bool isUndefined() const noexcept { return form_ == Form::undefined; }
    bool isBoolean() const noexcept { return form_ == Form::boolean; }
    bool isString() const noexcept { return text().has_value(); }
    /// A boolean, an integer or a double.
    bool isNumber() const noexcept {
        return form_ == Form::boolean || form_ == Form::integer || form_ == Form::real;
    }

    // Conversions. `none` gives false or 0. `undefined`, a date, an array and a dictionary throw a
    // `KIVException` "UnrecognizedOperation".

    /// A number is true unless it is zero; a text is read leniently ("true", "yes", "1x" are true).
    bool boolValue() const { return form_ == Form::boolean ? plain_.boolean : readBoolean(); }
    /// A double is cut off towards zero; a text is read up to where its digits end. The result is limited to
    /// the range of 64 bits.
    std::int64_t integerValue() const;
    /// A text is read up to where its number ends.
    double doubleValue() const;

    /// A text itself; "true" or "false" for a boolean; a number in decimal. nullopt for every other kind.
    /// Does not throw.
    std::optional<std::string> stringValue() const&;
    std::optional<std::string> stringValue() &&;

    /// The value as it appears in logs and joined texts: booleans as 1 and 0, `undefined` as <null>, `none`
    /// as (null).
    std::string description() const;
    /// Appends the description to a text.
    void describeTo(std::string& text) const;

    /// The content by kind; nullopt or null when the value is of another kind. Valid as long as the value.
    std::optional<std::string_view> text() const noexcept {
        if (form_ == Form::borrowed) {
            return plain_.text;
        }
        const auto* own = ownedAs<std::string>();
        return own ? std::optional<std::string_view>(*own) : std::nullopt;
    }
    const KIVDate* date() const noexcept { return form_ == Form::date ? &plain_.date : nullptr; }
    std::optional<Elements> elements() const noexcept {
        if (form_ == Form::elements) {
            return plain_.elements;
        }
        const auto* own = ownedAs<std::shared_ptr<const Array>>();
        return own ? std::optional(Elements((*own)->data(), (*own)->size())) : std::nullopt;
    }
    const Dictionary* dictionary() const noexcept {
        const auto* members = ownedAs<std::shared_ptr<const Dictionary>>();
        return members ? members->get() : nullptr;
    }
    const std::int64_t* integer() const noexcept {
        return form_ == Form::integer ? &plain_.integer : nullptr;
    }
    const double* real() const noexcept { return form_ == Form::real ? &plain_.real : nullptr; }

    /// The same value, with a copy of its text or its elements when those were borrowed.
    KivxValue owned() &&;

    /// Numbers are equal by value whatever their kind (true, 1 and 1.0 are), texts by content. `undefined`
    /// equals only itself. `none` equals nothing, not even `none`.
    friend KIV_API bool operator==(const KivxValue& a, const KivxValue& b);
    friend bool operator!=(const KivxValue& a, const KivxValue& b) { return !(a == b); }

private:
    enum class Form : std::uint8_t {
        none,
        undefined,
        boolean,
        integer,
        real,
        borrowed,
        date,
        elements,
        owned
    };

    /// The forms that are copied bit by bit. An evaluation moves values many times, and nearly all are of
    /// these forms.
    union Plain {
        Plain() noexcept : integer(0) {}
        explicit Plain(std::int64_t value) noexcept : integer(value) {}
        explicit Plain(bool value) noexcept : boolean(value) {}
        explicit Plain(double value) noexcept : real(value) {}
        explicit Plain(std::string_view value) noexcept : text(value) {}
        explicit Plain(KIVDate value) noexcept : date(value) {}
        explicit Plain(Elements value) noexcept : elements(value) {}

        std::int64_t integer;
        bool boolean;
        double real;
        std::string_view text;
        KIVDate date;
        Elements elements;
    };
    using Owned = std::variant<std::string, std::shared_ptr<const Array>, std::shared_ptr<const Dictionary>>;

    KivxValue(Form form, Plain plain) noexcept : form_(form), plain_(plain) {}

    bool readBoolean() const;
    bool isPlain() const noexcept { return form_ != Form::owned; }

    /// Null unless the value owns a `T`.
    template <class T>
    const T* ownedAs() const noexcept {
        return isPlain() ? nullptr : std::get_if<T>(&owned_);
    }

    Form form_ = Form::none;
    union {
        Plain plain_ = {};
        Owned owned_;
    };
};
