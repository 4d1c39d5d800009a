#include "EvaluationWorld.h"

namespace kiv::tool {

EvaluationWorld::EvaluationWorld(const EvaluationRequest& request)
    : context_(EvaluationContext::initDefaultWithContext(KIVDynamicPropertyContext(request.context))) {}

} // namespace kiv::tool
