#pragma once

#include <optional>

#include <kiv/c.h>

#include "CInterface/Calls.h"

namespace kiv {

/// The `KIVFreezeLevel`; nullopt for KIV_FREEZE_DEFAULT. Refuses an unknown level.
inline std::optional<unsigned> freezeLevelOf(kiv_freeze freeze) {
    if (freeze < KIV_FREEZE_DEFAULT || freeze > KIV_FREEZE_NEVER) {
        refuse(KIV_INVALID_ARGUMENT, "there is no freeze level " + std::to_string(freeze));
    }
    return freeze == KIV_FREEZE_DEFAULT
               ? std::nullopt
               : std::optional<unsigned>(static_cast<unsigned>(freeze - KIV_FREEZE_FOREVER));
}

} // namespace kiv
