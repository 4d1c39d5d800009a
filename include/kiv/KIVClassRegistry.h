#pragma once

#include <kiv/KIVNamedOperations.h>

#if defined(__cpp_rtti)

/// The former name of `KIVNamedOperations`, for applications that use it.
using KIVClassRegistry = KIVNamedOperations;

#endif
