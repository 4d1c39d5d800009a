#include "CInterface/Screen.h"

#include "CInterface/Calls.h"

#ifdef KIV_HAS_FLAGS_SCREEN

#include <mutex>

#include <kiv/KIVCore.h>
#include <kiv/KIVFlagsScreen.h>

#include "Platform/Threads/Fork.h"

namespace {

struct Presented {
    std::mutex lock;
    std::shared_ptr<KIVFlagsScreen> screen;
};

Presented& presented() {
    static Presented& one = *new Presented;
    return one;
}

/// Puts the screen in place of `expected`. False when another thread has put its own there.
bool replace(const std::shared_ptr<KIVFlagsScreen>& expected, std::shared_ptr<KIVFlagsScreen>& screen) {
    const kiv::Lock lock(presented().lock);
    if (presented().screen != expected) {
        return false;
    }
    screen.swap(presented().screen);
    return true; // the caller destroys the former screen, outside the lock
}

std::shared_ptr<KIVFlagsScreen> presentScreen() {
    const kiv::Lock lock(presented().lock);
    return presented().screen;
}

std::string present() {
    const auto former = presentScreen();
    if (const auto address = former ? former->address() : std::nullopt) {
        return *address;
    }
    auto model = KIVCore::flagsViewController();
    if (!model) {
        kiv::refuse(KIV_NOT_SET_UP, "the flags screen needs a setup before it");
    }
    auto screen = std::make_shared<KIVFlagsScreen>(std::move(model));
    const auto presentation = screen->present();
    if (!presentation.address) {
        kiv::refuse(KIV_UNAVAILABLE, presentation.failure);
    }
    return replace(former, screen) ? *presentation.address : present();
}

} // namespace

void kiv::dismissScreen() {
    std::shared_ptr<KIVFlagsScreen> none;
    for (auto former = presentScreen(); former && !replace(former, none); former = presentScreen()) {
    }
}

#else

namespace {

std::string present() {
    kiv::refuse(KIV_UNAVAILABLE, "the library was built without the flags screen's page");
}

} // namespace

void kiv::dismissScreen() {}

#endif

kiv_status kiv_screen_present(char* buffer, std::size_t capacity, std::size_t* size) {
    return kiv::call([&]() -> kiv_status {
        const kiv::CallersBuffer target(buffer, capacity, size);
        return target.give(present());
    });
}

kiv_status kiv_screen_dismiss() {
    return kiv::call([] { kiv::dismissScreen(); });
}
