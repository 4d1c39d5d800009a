#pragma once

#include <memory>

#include <kiv/KIVString.h>
#include <kiv/c.h>

namespace kiv {

/// A new handle for the flag.
kiv_flag* handleOfFlag(std::shared_ptr<KIVString> flag);

/// False when there is no such handle.
bool freeFlagHandle(kiv_flag* handle);

} // namespace kiv
