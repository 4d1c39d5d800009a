#pragma once

/// Marks the declarations that an application can link against in a shared build of the library.
#if defined(KIV_SHARED_LIBRARY)
#define KIV_API __attribute__((visibility("default")))
#else
#define KIV_API
#endif
