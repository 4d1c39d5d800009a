#pragma once

/// Marks what a shared build of the library lets an application see.
#if defined(KIV_SHARED_LIBRARY)
#define KIV_API __attribute__((visibility("default")))
#else
#define KIV_API
#endif
