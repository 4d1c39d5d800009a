#pragma once

#include <functional>

#include <kiv/KIVHost.h>

/// Configures a host with the members that `fill` sets; the library detects the others.
inline void configureHost(const std::function<void(KIVHost&)>& fill) {
    KIVHost host;
    fill(host);
    KIVHost::configure(host);
}
