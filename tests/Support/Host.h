#pragma once

#include <functional>

#include <kiv/KIVHost.h>

/// Puts a host in place that has what `fill` gives it; the rest is detected.
inline void configureHost(const std::function<void(KIVHost&)>& fill) {
    KIVHost host;
    fill(host);
    KIVHost::configure(host);
}
