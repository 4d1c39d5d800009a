#include <kiv/KivxValue.h>

#include <compare>
#include <utility>

#include <kiv/KIVException.h>

#include "KivxLanguage/Values/KivxDescription.h"
#include "KivxLanguage/Values/KivxNumbers.h"
#include "Platform/Text/ShortText.h"
#include "Platform/Text/Text.h"

namespace {

[[noreturn]] void refuse(const KivxValue& value, std::string_view wanted) {
    throw KIVException::unrecognizedOperation("A value '" + kiv::shortDescription(value) + "' has no " +
                                              std::string(wanted));
}

int rank(const KivxValue& value) { return value.isNumber() ? 0 : 1 + static_cast<int>(value.kind()); }

/// Compares by kind, then by value; all numbers are one kind. The order of the kinds has no meaning.
int order(const KivxValue& a, const KivxValue& b) {
    if (rank(a) != rank(b)) {
        return rank(a) < rank(b) ? -1 : 1;
    }
    if (a.isNumber()) {
        const std::partial_ordering result = kiv::compareNumbers(kiv::numberOf(a), kiv::numberOf(b));
        return result < 0 ? -1 : result > 0 ? 1 : 0;
    }
    if (a.isString()) {
        return a.text()->compare(*b.text());
    }
    if (a.date()) {
        return *a.date() < *b.date() ? -1 : *b.date() < *a.date() ? 1 : 0;
    }
    if (const auto mine = a.elements()) {
        const auto theirs = *b.elements();
        for (std::size_t i = 0; i < std::min(mine->size(), theirs.size()); ++i) {
            if (const int result = order((*mine)[i], theirs[i]); result != 0) {
                return result;
            }
        }
        return mine->size() < theirs.size() ? -1 : mine->size() > theirs.size() ? 1 : 0;
    }
    if (a.dictionary()) {
        auto theirs = b.dictionary()->begin();
        for (const auto& [key, value] : *a.dictionary()) {
            if (theirs == b.dictionary()->end()) {
                return 1;
            }
            const int keys = order(key, theirs->first);
            const int values = keys != 0 ? keys : order(value, theirs->second);
            if (values != 0) {
                return values;
            }
            ++theirs;
        }
        return theirs == b.dictionary()->end() ? 0 : -1;
    }
    return 0;
}

} // namespace

KivxValue::KivxValue(Dictionary members)
    : form_(Form::owned), owned_(std::make_shared<const Dictionary>(std::move(members))) {}

KivxValue::Kind KivxValue::kind() const noexcept {
    constexpr Kind plain[] = {Kind::none, Kind::undefined, Kind::boolean, Kind::integer,
                              Kind::real, Kind::string,    Kind::date,    Kind::array};
    constexpr Kind owned[] = {Kind::string, Kind::array, Kind::dictionary};
    return isPlain() ? plain[static_cast<std::size_t>(form_)] : owned[owned_.index()];
}

bool KivxValue::readBoolean() const {
    switch (kind()) {
    case Kind::none:
        return false;
    case Kind::boolean:
        return plain_.boolean;
    case Kind::integer:
        return *integer() != 0;
    case Kind::real:
        return *real() != 0;
    case Kind::string:
        return kiv::readBoolean(*text());
    default:
        refuse(*this, "boolean value");
    }
}

std::int64_t KivxValue::integerValue() const {
    switch (kind()) {
    case Kind::none:
        return 0;
    case Kind::boolean:
        return plain_.boolean;
    case Kind::integer:
        return *integer();
    case Kind::real:
        return kiv::saturated(*real());
    case Kind::string:
        return kiv::readInteger(*text());
    default:
        refuse(*this, "integer value");
    }
}

double KivxValue::doubleValue() const {
    switch (kind()) {
    case Kind::none:
        return 0;
    case Kind::boolean:
        return plain_.boolean;
    case Kind::integer:
        return static_cast<double>(*integer());
    case Kind::real:
        return *real();
    case Kind::string:
        return kiv::readDouble(*text());
    default:
        refuse(*this, "double value");
    }
}

std::optional<std::string> KivxValue::stringValue() const& {
    switch (kind()) {
    case Kind::boolean:
        return boolValue() ? "true" : "false";
    case Kind::integer:
        return kiv::integerText(*integer());
    case Kind::real:
        return kiv::doubleText(*real());
    case Kind::string:
        return std::string(*text());
    default:
        return std::nullopt;
    }
}

std::optional<std::string> KivxValue::stringValue() && {
    if (!isPlain() && isString()) {
        return std::move(std::get<std::string>(owned_));
    }
    return static_cast<const KivxValue&>(*this).stringValue();
}

void KivxValue::describeTo(std::string& out) const { kiv::describe(*this, out, out.max_size()); }

std::string KivxValue::description() const {
    std::string out;
    describeTo(out);
    return out;
}

KivxValue KivxValue::owned() && {
    if (form_ == Form::borrowed) {
        return KivxValue(plain_.text);
    }
    if (form_ != Form::elements) {
        return std::move(*this);
    }
    Array own;
    own.reserve(plain_.elements.size());
    for (const KivxValue& element : plain_.elements) {
        own.push_back(KivxValue(element).owned());
    }
    return own;
}

bool KivxValue::Less::operator()(const KivxValue& a, const KivxValue& b) const { return order(a, b) < 0; }

bool operator==(const KivxValue& a, const KivxValue& b) {
    if (const auto mine = a.text()) {
        const auto theirs = b.text();
        return theirs && kiv::sameText(*mine, *theirs);
    }
    if (a.isNone() || b.isNone()) {
        return false;
    }
    if (a.isNumber() && b.isNumber()) {
        return kiv::compareNumbers(kiv::numberOf(a), kiv::numberOf(b)) == 0;
    }
    return order(a, b) == 0;
}
