#include "Workload.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <sys/wait.h>

#include "Journal.h"
#include "Page.h"
#include "Watchdog.h"

namespace {

using namespace std::chrono_literals;
using Operation = Watchdog::Operation;

int upTo(std::mt19937& random, int most) {
    return static_cast<int>(random() % static_cast<unsigned>(most + 1));
}

void expect(bool holds, const char* what, const std::string& value) {
    if (!holds) {
        tell(std::string("wrong ") + what + " " + value);
    }
}

/// What the library logs about events that a full queue drops.
void noteLog(const std::string& line) {
    if (const std::size_t at = line.find("Dropping the "); at != std::string::npos) {
        tell("dropped " + std::to_string(std::atoi(line.c_str() + at + 13)));
    }
}

enum ChildResult { isGood = 0, hasReadWrong = 1, hasHung = 2 };

/// The exit code of the child; -1 when a signal has ended it.
int awaitChild(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

Workload::Workload(Settings settings) : settings_(std::move(settings)) {
    KIVHost host;
    host.bundleIdentifier = "com.example.soak";
    host.libraryDirectory = settings_.library;
    host.analyticsLog = true;
    host.logSink = noteLog;
    KIVHost::configure(host);
    KIVCore::register_("soak", flags_);
    KIVCore::setCustomComputedStringProperty(
        [](const auto&...) {
            static std::atomic<int> calls = 0;
            const std::string half = std::to_string(++calls);
            return half + ":" + half;
        },
        "computedPair");
}

void Workload::setUp(const std::string& key) {
    const std::string& base = settings_.service;
    KIVOptions options;
    options.verbose = 1;
    options.customSigningCertificate = settings_.certificate;
    options.networkConfigurations = KIVNetworkConfigurationsOptions{
        .getConfigApiEndpoint = base + "/device/get_configuration",
        .getConfigCloudEndpoint = base + "/cdn",
        .sendStateApiEndpoint = base + "/device/update_state_store",
        .sendStateCloudEndpoint = base + "/states",
        .analyticsEndpoint = base + "/analytics",
        .pushNotificationEndpoint = base + "/sse",
    };
    tell("key " + key);
    {
        const Operation operation("setupWithKey");
        KIVCore::setupWithKey(key, options);
    }
    const auto value = KIVCore::overrides()->overrideForName("soak.overridden");
    tell("setup " + key + " " + value.value_or("none"));
}

void Workload::start() {
    setUp(settings_.keys.front());
    if (settings_.mode == "drain") {
        return; // shutdown sends what waits
    }
    for (int number = 0; number < (isCounter() ? 1 : 2); ++number) {
        repeat("read", isCounter() ? 100ms : 2ms, [this](Random& random) { readAll(random); });
    }
    if (isCounter()) {
        repeat("ticket", 60ms, [this](Random& random) { readTicket(random); });
    }
    repeat("property", 20ms, [this](Random& random) { setProperties(random); });
    repeat("property", 30ms, [this](Random& random) { setProperties(random); });
    repeat("override", 50ms, [this](Random& random) { changeOverride(random); });
    repeat("life", 200ms, [this](Random& random) { liveOn(random); });
    repeat("screen", 300ms, [this](Random& random) { useScreen(random); });
    repeat("fork", isCounter() ? 700ms : 250ms, [this](Random& random) { fork(random); });
    if (settings_.keySeconds > 0) {
        const auto pause = std::chrono::milliseconds(static_cast<int>(settings_.keySeconds * 1000));
        repeat("key", pause, [this](Random& random) { changeKey(random); });
    }
}

void Workload::stop() {
    stopping_ = true;
    for (std::thread& thread : threads_) {
        thread.join();
    }
    screen_.reset();
    const Operation operation("shutdown");
    KIVCore::shutdown();
    tell("stats reads=" + std::to_string(reads_) + " children=" + std::to_string(children_) +
         " pages=" + std::to_string(pages_) +
         " slowestReadMicroseconds=" + std::to_string(Watchdog::slowestRead().count() / 1000));
}

void Workload::repeat(const char* name, std::chrono::milliseconds pause, std::function<void(Random&)> step) {
    const unsigned seed = settings_.seed * 131 + static_cast<unsigned>(threads_.size());
    threads_.emplace_back([this, name, pause, seed, step = std::move(step)] {
        Random random(seed);
        while (!stopping_) {
            const auto due = std::chrono::steady_clock::now() + pause;
            while (!stopping_ && std::chrono::steady_clock::now() < due) {
                std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(pause, 50ms));
            }
            try {
                step(random);
            } catch (const std::exception& thrown) {
                tell(std::string("wrong exception ") + name + " " + thrown.what());
            }
        }
    });
}

void Workload::readAll(Random& random) {
    const auto text = [&](const KIVString& flag) {
        const Operation operation("read", true);
        ++reads_;
        return isCounter() ? flag.peek() : flag.value();
    };
    const int rounds = isCounter() ? 3 : 20;
    for (int round = 0; round < rounds; ++round) {
        expect(isVersion(text(flags_->version)), "version", text(flags_->version));
        for (const KIVString* flag : {&flags_->frozenForLife, &flags_->frozen, &flags_->thawed}) {
            const std::string value = text(*flag);
            expect(isVersion(value), "frozen", value);
        }
        const std::string pair = text(flags_->pair);
        expect(isPair(pair), "pair", pair);
        const std::string computed = text(flags_->computed);
        expect(isPair(computed), "computed", computed);
        const std::string ratio = text(flags_->ratio);
        expect(ratio.ends_with(".5"), "ratio", ratio);
        text(flags_->express);
        text(flags_->limit);
        const std::string overridden = text(flags_->overridden);
        expect(isVersion(overridden) || overridden.starts_with("own "), "overridden", overridden);
    }
    const Operation operation("dynamic read", true);
    const auto api = KIVCore::dynamicAPI();
    const KIVDynamicPropertyContext context({{"ticket", "none"}, {"n", upTo(random, 9)}});
    const std::string name = "soak.dynamic" + std::to_string(upTo(random, 30));
    if (!isCounter() || upTo(random, 9) == 0) {
        const std::string value = api->getValue(name, "default", {}, &context);
        expect(isVersion(value), "dynamic", value);
    }
}

/// Each of these reads makes an impression with a value of its own. It is told as armed when a document was
/// in use.
void Workload::readTicket(Random&) {
    const std::shared_lock lock(keyLock_);
    const bool isArmed = flags_->version.peek() != "default";
    const std::string id = std::to_string(getpid()) + "-" + std::to_string(++nextTicket_);
    std::string value;
    {
        const Operation operation("read", true);
        value = flags_->ticket.value(KIVDynamicPropertyContext({{"ticket", id}}));
        ++reads_;
    }
    expect(value == id || value == "default", "ticket", value);
    if (value == id) {
        tell("ticket " + id + (isArmed ? " armed" : " early"));
    }
}

void Workload::setProperties(Random& random) {
    const Operation operation("set a property");
    const std::string half(static_cast<std::size_t>(upTo(random, 200)) + 1,
                           static_cast<char>('a' + upTo(random, 25)));
    KIVCore::setCustomStringProperty(half + ":" + half, "pair");
    KIVCore::setCustomIntProperty(upTo(random, 100), "number" + std::to_string(upTo(random, 20)));
    KIVCore::setCustomComputedDoubleProperty([](const auto&...) { return 1.5; }, "real");
    KIVCore::setCustomSemverProperty("2.10." + std::to_string(upTo(random, 9)), "semver");
    KIVCore::setCustomBooleanProperty(upTo(random, 1) == 1, "boolean");
}

void Workload::changeOverride(Random& random) {
    const std::shared_lock lock(keyLock_);
    const auto overrides = KIVCore::overrides();
    if (!overrides) {
        return;
    }
    const std::string number = std::to_string(++nextOverride_);
    const std::string value = "own " + std::to_string(getpid()) + "-" + number;
    const int kind = upTo(random, 9);
    tell("override " + number + " " + (kind < 2 ? "none" : value));
    {
        const Operation operation("change an override");
        if (kind == 0) {
            overrides->clearOverrides();
        } else if (kind == 1) {
            overrides->clearOverrideForName("soak.overridden");
        } else {
            overrides->setOverride(value, "soak.overridden");
        }
    }
    tell("overridden " + number);
}

void Workload::liveOn(Random& random) {
    const Operation operation("fetch, unfreeze or come to the foreground");
    switch (upTo(random, 5)) {
    case 0:
        KIVCore::fetch();
        break;
    case 1:
        KIVCore::unfreeze();
        break;
    case 2:
        KIVCore::unfreezeNamespace("soak");
        break;
    case 3:
        KIVHost::applicationWillEnterForeground();
        break;
    case 4:
        KIVCore::setGlobalDynamicPropertyContext(KIVDynamicPropertyContext({{"n", upTo(random, 9)}}));
        break;
    default:
        KIVCore::flags();
    }
}

void Workload::useScreen(Random& random) {
    if (screen_ && screen_->address() && upTo(random, 9) > 0) {
        const Operation operation("ask the flags screen's page");
        pages_ += askPage(*screen_->address()) ? 1 : 0;
        return;
    }
    const Operation operation("present the flags screen");
    screen_ = std::make_unique<KIVFlagsScreen>(KIVCore::flagsViewController());
    screen_->present();
}

void Workload::fork(Random& random) {
    const bool resumes = upTo(random, 3) == 0;
    const pid_t child = ::fork();
    if (child == 0) {
        Watchdog::endChildAfter(30, hasHung);
        bool holds = true;
        if (resumes) {
            KIVCore::resumeAfterFork();
            KIVCore::fetch();
            std::this_thread::sleep_for(std::chrono::milliseconds(upTo(random, 500)));
        }
        for (int round = 0; round < 20; ++round) {
            const std::string pair = flags_->pair.peek();
            KIVCore::setCustomIntProperty(round, "ofChild");
            holds = holds && isVersion(flags_->version.value()) && isVersion(flags_->frozen.value()) &&
                    isPair(pair);
        }
        _exit(holds ? isGood : hasReadWrong);
    }
    if (child > 0) {
        const int result = awaitChild(child);
        expect(result == isGood, result == hasHung ? "child, hung," : "child", std::to_string(result));
        ++children_;
    }
}

void Workload::changeKey(Random& random) {
    if (nextKey_ == settings_.keys.size()) {
        return;
    }
    const std::unique_lock lock(keyLock_);
    const std::string key = settings_.keys[nextKey_++];
    const bool isSwitched = upTo(random, 1) == 0;
    if (isSwitched) {
        const Operation operation("switchToSDKKey");
        KIVCore::switchToSDKKey(key);
    }
    setUp(key);
}
