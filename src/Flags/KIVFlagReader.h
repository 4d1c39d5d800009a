#pragma once

#include <kiv/KIVString.h>

/// The reads of a flag for callers that hold a `kiv::ReadGuard` already. src/Flags/KIVString.cpp defines
/// them.
class KIVFlagReader {
public:
    static bool boolValue(const KIVString& flag, const EvaluationContext* context,
                          std::string_view defaultValue);
    static std::int64_t intValue(const KIVString& flag, const EvaluationContext* context,
                                 std::string_view defaultValue);
    static double doubleValue(const KIVString& flag, const EvaluationContext* context,
                              std::string_view defaultValue);

    /// The text, without a copy of it. Valid as long as the caller's `kiv::ReadGuard`, `defaultValue` and
    /// `own`, in which a value may be made.
    static std::string_view value(const KIVString& flag, const EvaluationContext* context,
                                  std::string_view defaultValue, std::string& own) {
        return flag.internalValue(context, defaultValue, nullptr, own);
    }
};
