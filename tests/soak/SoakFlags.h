#pragma once

#include <string>

#include <kiv/kiv.h>

/// The flags of the workload. The driver's documents give all but `ticket` and `pair` the number N of the
/// document.
struct SoakFlags : KIVBaseContainer {
    KIVString version{"default"};                      ///< "vN"
    KIVString ticket{"default"};                       ///< the context's "ticket"
    KIVString pair{"default"};                         ///< the property "pair": a text, ":" and it again
    KIVString computed{"default", {}, KIVFreezeNever}; ///< the computed property "computedPair"
    KIVString frozenForLife{"default", {}, KIVFreezeForever};  ///< "vN"
    KIVString frozen{"default", {}, KIVFreezeUntilUnfreeze};   ///< "vN"
    KIVString thawed{"default", {}, KIVFreezeUntilForeground}; ///< "vN"
    KIVString overridden{"default"};                           ///< "vN", unless it is overridden
    KIVFlag express{false};                                    ///< true
    KIVInt limit{0};                                           ///< N
    KIVDouble ratio{0.5};                                      ///< N.5
    KIV_CONTAINER(SoakFlags, version, ticket, pair, computed, frozenForLife, frozen, thawed, overridden,
                  express, limit, ratio);
};

/// Whether the text is the default or "v" and a number: what a document has ever given, and nothing of a
/// stranger's.
inline bool isVersion(const std::string& text) {
    return text == "default" || (text.size() > 1 && text[0] == 'v' &&
                                 text.find_first_not_of("0123456789", 1) == std::string::npos);
}

/// Whether the text is the default, or two equal halves around a colon.
inline bool isPair(const std::string& text) {
    const std::size_t colon = text.find(':');
    return text == "default" ||
           (colon != std::string::npos && text.substr(0, colon) == text.substr(colon + 1));
}
