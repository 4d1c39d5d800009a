#pragma once

#include <kiv/KIVString.h>

/// Reads a flag without copying its value.
class KIVFlagReader {
public:
    /// What `getStringValue` would give. Valid as long as the caller's `kiv::ReadGuard`, `defaultValue` and
    /// `own`, in which a value may be made.
    static std::string_view value(const KIVString& flag, const EvaluationContext* context,
                                  std::string_view defaultValue, std::string& own) {
        return flag.internalValue(context, defaultValue, nullptr, own);
    }
};
