#include "Platform/System/KeepLoaded.h"

#include <dlfcn.h>
#include <link.h>

namespace kiv {
namespace {
const char anchor = 0; ///< an address in the object that holds the library
}

void keepLoaded() noexcept { keepLoaded(&anchor); }

void keepLoaded(const void* address) noexcept {
    Dl_info info{};
    void* extra = nullptr;
    if (dladdr1(address, &info, &extra, RTLD_DL_LINKMAP) == 0 || !extra) {
        return;
    }
    const char* path = static_cast<const link_map*>(extra)->l_name;
    // The executable has no path here, and nobody can unload it.
    if (path && *path) {
        dlopen(path, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    }
}

} // namespace kiv
