#include "Platform/Text/Collation.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include "Platform/Threads/Fork.h"

namespace kiv {
namespace {

std::string sortKey(const icu::Collator& collator, const std::string& text) {
    const icu::UnicodeString characters = icu::UnicodeString::fromUTF8(text);
    std::string key(2 * text.size() + 8, '\0');
    for (;;) {
        const auto length = static_cast<std::size_t>(collator.getSortKey(
            characters, reinterpret_cast<std::uint8_t*>(key.data()), static_cast<std::int32_t>(key.size())));
        const bool isWhole = length <= key.size();
        key.resize(length);
        if (isWhole) {
            return key;
        }
    }
}

} // namespace

void sortIgnoringCase(std::vector<std::string>& texts, const std::string& locale) {
    const ForkShield shield; // ICU has locks of its own
    UErrorCode status = U_ZERO_ERROR;
    // The empty name selects the root locale; null would select the locale of the process.
    const std::unique_ptr<icu::Collator> collator(
        icu::Collator::createInstance(icu::Locale::createCanonical(locale.c_str()), status));
    if (U_FAILURE(status)) {
        std::stable_sort(texts.begin(), texts.end());
        return;
    }
    collator->setStrength(icu::Collator::SECONDARY);
    std::vector<std::pair<std::string, std::string>> keyed;
    keyed.reserve(texts.size());
    for (auto& text : texts) {
        std::string key = sortKey(*collator, text);
        keyed.emplace_back(std::move(key), std::move(text));
    }
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::transform(keyed.begin(), keyed.end(), texts.begin(),
                   [](auto& entry) { return std::move(entry.second); });
}

} // namespace kiv
