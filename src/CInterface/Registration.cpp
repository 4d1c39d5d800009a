#include <cmath>
#include <limits>
#include <set>
#include <utility>

#include <kiv/KIVBaseContainer.h>
#include <kiv/KIVCore.h>
#include <kiv/KIVDouble.h>
#include <kiv/KIVFlag.h>
#include <kiv/KIVInt.h>

#include "CInterface/Calls.h"
#include "CInterface/Flags.h"
#include "CInterface/Levels.h"
#include "Platform/Text/Text.h"

namespace {

/// The flags of one registration.
struct DeclaredFlags : KIVBaseContainer {
    std::vector<std::pair<std::string, std::shared_ptr<KIVString>>> flags;

    KIVContainerTable kivContainerTable() override {
        KIVContainerTable table;
        for (auto& [name, flag] : flags) {
            table.add(name, flag);
        }
        return table;
    }
};

void checkKind(const kiv_value& value, kiv_kind kind) {
    if (value.kind != kind) {
        kiv::refuse(KIV_INVALID_ARGUMENT, "a variation is of another kind than the flag's default");
    }
}

std::string readText(const kiv_value& value) { return std::string(kiv::text(value.text, "a flag's value")); }

int readInt(const kiv_value& value) {
    if (!std::in_range<int>(value.integer)) {
        kiv::refuse(KIV_INVALID_ARGUMENT, "the value of an integer flag does not fit 32 bits");
    }
    return static_cast<int>(value.integer);
}

double readDouble(const kiv_value& value) {
    if (!std::isfinite(value.real)) {
        kiv::refuse(KIV_INVALID_ARGUMENT, "the value of a double flag is infinite or no number");
    }
    return value.real;
}

template <class Read>
auto variationsOf(const kiv_declaration& declared, Read read) {
    std::vector<decltype(read(declared.default_value))> all;
    if (declared.variation_count > 0) {
        kiv::requirePointer(declared.variations, "variations");
    }
    for (std::uint32_t i = 0; i < declared.variation_count; ++i) {
        checkKind(declared.variations[i], declared.default_value.kind);
        all.push_back(read(declared.variations[i]));
    }
    return all;
}

template <class Flag, class Default, class Variations>
std::shared_ptr<KIVString> make(Default defaultValue, const Variations& variations,
                                std::optional<unsigned> level) {
    return level ? std::make_shared<Flag>(defaultValue, variations, *level)
                 : std::make_shared<Flag>(defaultValue, variations);
}

std::shared_ptr<KIVString> flagOf(const kiv_declaration& declared) {
    const auto level = kiv::freezeLevelOf(declared.freeze);
    const kiv_value& value = declared.default_value;
    switch (value.kind) {
    case KIV_BOOL:
        if (declared.variation_count > 0) {
            kiv::refuse(KIV_INVALID_ARGUMENT, "a boolean flag has no variations of its own");
        }
        return level ? std::make_shared<KIVFlag>(value.boolean != 0, *level)
                     : std::make_shared<KIVFlag>(value.boolean != 0);
    case KIV_TEXT: {
        const auto texts = variationsOf(declared, readText);
        return make<KIVString>(readText(value), std::vector<KIVNullableString>(texts.begin(), texts.end()),
                               level);
    }
    case KIV_INT:
        return make<KIVInt>(readInt(value), variationsOf(declared, readInt), level);
    case KIV_DOUBLE:
        return make<KIVDouble>(readDouble(value), variationsOf(declared, readDouble), level);
    default:
        kiv::refuse(KIV_INVALID_ARGUMENT, "there are no flags of the kind " + std::to_string(value.kind));
    }
}

std::shared_ptr<DeclaredFlags> containerOf(const kiv_declaration* declarations, std::size_t count) {
    auto container = std::make_shared<DeclaredFlags>();
    std::set<std::string_view> names;
    for (std::size_t i = 0; i < count; ++i) {
        const kiv_declaration& declared = declarations[i];
        kiv::checkSize(declared, "kiv_declaration");
        const std::string_view name = kiv::text(declared.name, "the name of a flag");
        if (name.empty() || name != kiv::trimmed(name)) {
            kiv::refuse(KIV_INVALID_ARGUMENT,
                        "the name of a flag is empty, or begins or ends with white space");
        }
        if (!names.insert(name).second) {
            kiv::refuse(KIV_INVALID_ARGUMENT, "two flags have the name " + std::string(name));
        }
        container->flags.emplace_back(name, flagOf(declared));
    }
    return container;
}

} // namespace

kiv_status kiv_register(const char* nameSpace, std::size_t nameSpaceSize, const kiv_declaration* declarations,
                        std::size_t count, kiv_flag** flags) {
    return kiv::call([&] {
        const std::string_view checked = kiv::text(nameSpace, nameSpaceSize, "the namespace");
        if (count > 0) {
            kiv::requirePointer(declarations, "declarations");
        }
        const auto container = containerOf(declarations, count);
        KIVCore::register_(checked, container);
        for (std::size_t i = 0; flags && i < count; ++i) {
            flags[i] = kiv::handleOfFlag(container->flags[i].second);
        }
    });
}
