#include "Platform/Host/HostLog.h"

#include <cstdio>

#include <kiv/KIVHost.h>

#include "Platform/Threads/Fork.h"
#include "Platform/Threads/ThreadEnd.h"

namespace kiv {

void writeHostLog(const std::string& line) {
    thread_local bool writing = false;
    if (writing) {
        return;
    }
    const auto host = KIVHost::current();
    if (!host->logSink) {
        std::fprintf(stderr, "%s\n", line.c_str());
        return;
    }
    // A sink that locks must not be left locked to a child.
    const ForkShield shield;
    writing = true;
    try {
        host->logSink(line);
    } catch (const ThreadEnd&) {
        writing = false;
        throw;
    } catch (...) {
        std::fprintf(stderr, "the log sink threw an exception on: %s\n", line.c_str());
    }
    writing = false;
}

} // namespace kiv
