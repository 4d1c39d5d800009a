#pragma once

#include <kiv/EvaluationContext.h>
#include <kiv/KivxValue.h>
#include <kiv/c.h>

namespace kiv {

/// The value of an application. Refuses an unknown kind, and a text that is not UTF-8. `what` names the value
/// in the error.
KivxValue valueOf(const kiv_value& given, const char* what);

/// What a read with this handle is evaluated with; null for null. Valid until the caller's `ReadGuard`
/// closes. Refuses an unknown handle.
const EvaluationContext* evaluationOf(const kiv_context* handle);

} // namespace kiv
