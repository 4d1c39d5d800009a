#include <kiv/KIVFlagsScreen.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/post.hpp>

#include <kiv/KIVFlagsViewController.h>

#include "DebugScreen/FlagsPage.h"
#include "Platform/Crypto/Cipher.h"
#include "Platform/Host/HostLog.h"
#include "Platform/Http/HttpServer.h"
#include "Platform/System/Files.h"
#include "Platform/System/SystemOpener.h"
#include "Platform/Text/Text.h"
#include "Platform/Threads/Fork.h"
#include "Platform/Threads/LibraryThread.h"
#include "Platform/Threads/ThreadEnd.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"

namespace {

using namespace std::chrono_literals;

/// 256 bits, in hexadecimal; empty when the system has no random numbers to give.
std::string newSecret() {
    constexpr std::size_t size = 32;
    return kiv::hexText(kiv::randomBytes(size).value_or(""));
}

/// In a child after a fork, the destructor of its parent's server would take the parent's sockets out of the
/// epoll that both processes share.
void keepForEver(std::shared_ptr<void> server) {
    static auto& lock = *new std::mutex;
    static auto& kept = *new std::vector<std::shared_ptr<void>>;
    const kiv::Lock guard(lock);
    kept.push_back(std::move(server));
}

} // namespace

/// Serves the page, from `start` to `end`. The thread that serves keeps this object alive.
class KIVFlagsScreen::Server : public std::enable_shared_from_this<KIVFlagsScreen::Server> {
public:
    /// Starts to listen. Throws `kiv::CannotListen`.
    Server(std::shared_ptr<const KIVFlagsViewController> presented, std::string token)
        : page_(std::move(presented), std::move(token)),
          http_(std::make_unique<kiv::HttpServer>(
              io_, kiv::FlagsPage::host, 0, mostConnections,
              kiv::HttpService{.limits = {.bodyBytes = 64U << 10, .request = 5s},
                               .handler = [this](const kiv::HttpCall& call,
                                                 const kiv::HttpReply& reply) { reply(answer(call)); },
                               .refused = [](const kiv::HttpAnswer&) {},
                               .turnAway = [this](const kiv::HttpCall& call) { return page_.turnAway(call); },
                               .headers = kiv::FlagsPage::headers()})) {
        page_.setPort(http_->port());
    }

    /// False when no thread can be started.
    bool start() {
        return kiv::startLibraryThread(
            threadName, [self = shared_from_this()] { self->run(); },
            [weak = weak_from_this()] {
                if (const auto self = weak.lock()) {
                    self->io_.stop();
                }
            },
            50ms);
    }

    /// Ends the server, which then takes no more requests. Waits 200 milliseconds at most for an answer that
    /// is being made, because that answer may wait for a callback of the application, and the callback for
    /// this function.
    void end() {
        constexpr auto patience = 200ms;
        redirect_.reset();
        io_.stop();
        if (std::this_thread::get_id() != thread_) {
            ended_.get_future().wait_for(patience);
        }
    }

    std::string address() const { return page_.address(); }

    /// Gives the opener a private file that redirects to the page: other users can see the arguments of a
    /// command, but not what is in the file.
    bool open() {
        if (!redirect_ || !kiv::fileExists(redirect_->path())) {
            redirect_.emplace(R"(<!doctype html><meta charset="utf-8"><title>KIV</title>)"
                              R"(<meta http-equiv="refresh" content="0;url=)" +
                              address() + "\">\n");
        }
        const bool isOpened = !redirect_->path().empty() && kiv::openWithSystem(redirect_->path());
        if (!isOpened) {
            redirect_.reset();
        }
        return isOpened;
    }

private:
    static constexpr std::size_t mostConnections = 256;
    static constexpr const char* threadName = "kiv-screen";

    void run() {
        thread_ = std::this_thread::get_id();
        try {
            io_.run();
        } catch (const kiv::ThreadEnd&) {
            goOnElsewhere();
            throw;
        }
        finish();
    }

    /// Goes on serving on a new thread, because a callback is ending the present thread. The browser asks
    /// again.
    void goOnElsewhere() noexcept {
        try {
            if (!std::exchange(hasTold_, true)) {
                boost::asio::post(io_, [] { kiv::writeHostLog(kiv::threadEndText(threadName)); });
            }
            if (start()) {
                return;
            }
        } catch (...) { // out of memory
        }
        finish();
    }

    void finish() {
        http_.reset();
        ended_.set_value();
    }

    kiv::HttpAnswer answer(const kiv::HttpCall& call) {
        kiv::HttpAnswer answer{.status = 500};
        if (const auto failure = kiv::failureOf([&] { answer = page_.answer(call); })) {
            KIV_DEBUG_LOG("Error: the page of the flags screen failed: %@", failure->what());
        }
        return answer;
    }

    boost::asio::io_context io_{1};
    kiv::FlagsPage page_;
    std::unique_ptr<kiv::HttpServer> http_;
    std::atomic<std::thread::id> thread_{};
    std::promise<void> ended_;
    bool hasTold_ = false;                     ///< the log says that a callback ended the thread
    std::optional<kiv::PrivateFile> redirect_; ///< leads a browser to the page
};

struct KIVFlagsScreen::State : KIVFlagsViewController::Presenter, std::enable_shared_from_this<State> {
    std::shared_ptr<KIVFlagsViewController> controller;
    mutable std::mutex lock; ///< for the two fields below
    std::shared_ptr<Server> server;
    unsigned forks = 0; ///< `kiv::forkCount` when the server was started

    /// Leaves a server of the parent process as it is. The caller holds the lock.
    void leaveToParent() {
        if (server && forks != kiv::forkCount()) {
            keepForEver(std::move(server));
        }
    }

    void dismiss() override {
        std::shared_ptr<Server> ended;
        {
            const kiv::Lock guard(lock);
            leaveToParent();
            ended = std::move(server);
        }
        if (ended) {
            ended->end();
        }
    }

    /// Becomes a presenter before it starts the server: a `done` of the model meanwhile waits for the lock
    /// and then ends that server.
    Presentation present() {
        const kiv::Lock guard(lock);
        leaveToParent();
        if (server) {
            return {server->address(), ""};
        }
        controller->addPresenter(weak_from_this());
        if (controller->hasEnded()) {
            return {std::nullopt,
                    "the client of this model was shut down or replaced; ask KIVCore for a new model"};
        }
        std::string token = newSecret();
        if (token.empty()) {
            return {std::nullopt, "the system has no random numbers to give"};
        }
        try {
            auto made = std::make_shared<Server>(controller, std::move(token));
            if (!made->start()) {
                return {std::nullopt, "no thread can be started"};
            }
            server = std::move(made);
            forks = kiv::forkCount();
            return {server->address(), ""};
        } catch (const std::exception& problem) {
            return {std::nullopt, problem.what()};
        }
    }

    std::shared_ptr<Server> presented() {
        const kiv::Lock guard(lock);
        leaveToParent();
        return server;
    }
};

KIVFlagsScreen::KIVFlagsScreen(std::shared_ptr<KIVFlagsViewController> controller)
    : state_(std::make_shared<State>()) {
    state_->controller = std::move(controller);
}

KIVFlagsScreen::~KIVFlagsScreen() { dismiss(); }

KIVFlagsScreen::Presentation KIVFlagsScreen::present() {
    if (!state_->controller) {
        return {std::nullopt, "there is no model to show: KIVCore is not set up"};
    }
    return state_->present();
}

bool KIVFlagsScreen::openInBrowser() {
    const kiv::Lock guard(state_->lock);
    state_->leaveToParent();
    return state_->server && state_->server->open();
}

void KIVFlagsScreen::dismiss() { state_->dismiss(); }

std::optional<std::string> KIVFlagsScreen::address() const {
    const auto server = state_->presented();
    return server ? std::optional(server->address()) : std::nullopt;
}
