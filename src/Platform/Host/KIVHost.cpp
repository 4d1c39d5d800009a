#include <kiv/KIVHost.h>

#include <mutex>
#include <stdexcept>

#include <kiv/KIVNotifications.h>
#include <kiv/NotificationCenter.h>

#include "Platform/Host/LinuxHost.h"

#include "Platform/Threads/Fork.h"

namespace {

struct Hosts {
    std::mutex lock;
    std::shared_ptr<const KIVHost> current;
};

Hosts& hosts() {
    static Hosts& all = *new Hosts;
    return all;
}

constexpr std::size_t ivSize = 16;

} // namespace

void KIVHost::configure(KIVHost host) {
    if (host.analyticsEncryption && host.analyticsEncryption->iv.size() != ivSize) {
        throw std::invalid_argument("the IV of KIVHost::analyticsEncryption has 16 bytes");
    }
    auto next = std::make_shared<const KIVHost>(kiv::completeHost(std::move(host)));
    // The host that was configured before is destroyed after the lock is released.
    const kiv::Lock lock(hosts().lock);
    hosts().current.swap(next);
}

std::shared_ptr<const KIVHost> KIVHost::current() {
    const kiv::Lock lock(hosts().lock);
    if (!hosts().current) {
        hosts().current = std::make_shared<const KIVHost>(kiv::completeHost(KIVHost()));
    }
    return hosts().current;
}

void KIVHost::applicationWillEnterForeground() {
    kiv::NotificationCenter::defaultCenter().post(KIVApplicationWillEnterForegroundNotification, *current());
}
