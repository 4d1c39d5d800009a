#pragma once

#include <kiv/KIVNamedOperations.h>

/// The former name of `KIVNamedOperations`, for applications that use it.
using KIVClassRegistry = KIVNamedOperations;
