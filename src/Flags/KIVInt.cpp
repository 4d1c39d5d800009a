#include <kiv/KIVInt.h>

namespace {

std::vector<std::string> texts(const std::vector<int>& numbers) {
    std::vector<std::string> all;
    for (const int number : numbers) {
        all.push_back(std::to_string(number));
    }
    return all;
}

} // namespace

KIVInt::KIVInt(int defaultValue) : KIVString(std::to_string(defaultValue)) {}

KIVInt::KIVInt(int defaultValue, const std::vector<int>& variations)
    : KIVString(std::to_string(defaultValue), texts(variations), std::nullopt) {}

KIVInt::KIVInt(int defaultValue, const std::vector<int>& variations, unsigned freeze)
    : KIVString(std::to_string(defaultValue), texts(variations), std::optional<unsigned>(freeze)) {}

std::int64_t KIVInt::value(const KIVDynamicPropertyContext& context) const {
    const auto evaluation = EvaluationContext::initDefaultWithContext(context);
    return getIntValue(&evaluation);
}

void KIVInt::forceValue(int value) { KIVString::forceValue(std::to_string(value)); }

std::string_view KIVInt::className() const { return "KIVInt"; }
