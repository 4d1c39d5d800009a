#include <kiv/KIVHost.h>

#include <mutex>

#include <kiv/NotificationCenter.h>

#include "Platform/LinuxHost.h"

namespace {

struct Hosts {
    std::mutex lock;
    std::shared_ptr<const KIVHost> current;
};

Hosts& hosts() {
    static Hosts& all = *new Hosts;
    return all;
}

/// The given facts, with those of the detected host for what is missing.
std::shared_ptr<const KIVHost> completed(KIVHost given) {
    KIVHost detected = kiv::detectHost();
    const auto complete = [&](auto KIVHost::*field) {
        if (!(given.*field)) {
            given.*field = std::move(detected.*field);
        }
    };
    // An identifier of the application's own also names its Library folder.
    if (given.bundleIdentifier && !given.libraryDirectory && detected.libraryDirectory) {
        const std::string& path = *detected.libraryDirectory;
        const std::size_t name = path.rfind('/', path.rfind('/') - 1);
        given.libraryDirectory = path.substr(0, name + 1) + *given.bundleIdentifier + "/Library";
    }
    for (const auto field :
         {&KIVHost::bundleIdentifier, &KIVHost::shortVersion, &KIVHost::version, &KIVHost::resourceDirectory,
          &KIVHost::libraryDirectory, &KIVHost::homeDirectory, &KIVHost::deviceName, &KIVHost::systemName,
          &KIVHost::systemVersion, &KIVHost::model, &KIVHost::vendorIdentifier, &KIVHost::locale, &KIVHost::idiom}) {
        complete(field);
    }
    return std::make_shared<const KIVHost>(std::move(given));
}

} // namespace

void KIVHost::configure(KIVHost host) {
    auto next = completed(std::move(host));
    const std::lock_guard lock(hosts().lock);
    hosts().current.swap(next);
}

std::shared_ptr<const KIVHost> KIVHost::current() {
    const std::lock_guard lock(hosts().lock);
    if (!hosts().current) {
        hosts().current = completed(KIVHost());
    }
    return hosts().current;
}

void KIVHost::applicationWillEnterForeground() {
    kiv::NotificationCenter::defaultCenter().post("KIVApplicationWillEnterForegroundNotification", *current());
}
