#include <condition_variable>
#include <thread>

#include <gtest/gtest.h>

#include "Network/KIVEventSource.h"
#include "Support/Journal.h"

namespace {

using State = KIVEventSource::State;

/// Notes what listeners and the delegate are told.
class Listener : public KIVEventSourceDelegate, public Journal {
public:
    void listenTo(KIVEventSource& source, const std::string& name) {
        source.addListenerForEvent(name, [this, name](const auto& event, const auto&) {
            note(name + ' ' + event.data().value_or("-"));
        });
    }

    void eventSourceDidOpen(KIVEventSource&) override { note("opened"); }
    void eventSource(KIVEventSource&, const KIVServerSentEvent& event) override {
        note("delegate " + event.event().value_or("-"));
    }
    void eventSource(KIVEventSource&, const std::optional<kiv::TransportError>& error) override {
        note("failed " + std::to_string(error ? error->code : 0));
    }
    void eventSourceDidClose(KIVEventSource&) override { note("closed"); }
};

/// Streams whose server is the test.
class Script {
public:
    KIVEventSource::OpenStream opener() {
        return [this](kiv::HttpRequest request, kiv::HttpStreamHandlers handlers) {
            const std::lock_guard lock(meeting_->lock);
            requests_.push_back(std::move(request));
            tasks_.push_back(std::make_shared<Task>(meeting_, std::move(handlers)));
            meeting_->changed.notify_all();
            return tasks_.back();
        };
    }

    /// Waits for the stream of that number, from 1.
    const kiv::HttpStreamHandlers& stream(std::size_t number = 1) {
        std::unique_lock lock(meeting_->lock);
        meeting_->changed.wait(lock, [&] { return tasks_.size() >= number; });
        return tasks_[number - 1]->handlers;
    }
    /// False when nobody cancels the stream of that number.
    bool waitForCancel(std::size_t number = 1) {
        std::unique_lock lock(meeting_->lock);
        return meeting_->changed.wait_for(lock, std::chrono::seconds(20),
                                          [&] { return tasks_[number - 1]->isCancelled; });
    }
    const kiv::HttpRequest& request() { return requests_.front(); }

private:
    /// Shared, because a thread of the library may cancel after the test has ended.
    struct Meeting {
        std::mutex lock;
        std::condition_variable changed;
    };
    struct Task : kiv::HttpTask {
        Task(std::shared_ptr<Meeting> its, kiv::HttpStreamHandlers itsHandlers)
            : meeting(std::move(its)), handlers(std::move(itsHandlers)) {}
        void cancel() override {
            {
                const std::lock_guard lock(meeting->lock);
                isCancelled = true;
                meeting->changed.notify_all();
            }
            handlers.completed(kiv::TransportError{"URLErrorDomain", kiv::TransportError::cancelled, ""});
        }
        const std::shared_ptr<Meeting> meeting;
        const kiv::HttpStreamHandlers handlers;
        bool isCancelled = false;
    };

    const std::shared_ptr<Meeting> meeting_ = std::make_shared<Meeting>();
    std::vector<kiv::HttpRequest> requests_;
    std::vector<std::shared_ptr<Task>> tasks_;
};

struct EventSource : testing::Test {
    void open() {
        source->setDelegate(journal);
        journal->listenTo(*source, "changed");
        source->open();
        script.stream().responded(200);
    }
    void receive(std::string_view bytes) { script.stream().received(bytes); }

    Script script;
    std::shared_ptr<Listener> journal = std::make_shared<Listener>();
    std::shared_ptr<KIVEventSource> source =
        std::make_shared<KIVEventSource>("http://push/key", script.opener());
};

TEST_F(EventSource, TellsListenersAndDelegateInOrder) {
    EXPECT_TRUE(source->isConnecting());
    journal->listenTo(*source, "other");
    open();
    const auto& request = script.request();
    EXPECT_EQ(request.url, "http://push/key");
    EXPECT_EQ(request.idleTimeout, 0);
    EXPECT_EQ(request.headers,
              (decltype(request.headers){{"Accept", "text/event-stream"}, {"Cache-Control", "no-cache"}}));
    journal->waitFor("opened");
    EXPECT_TRUE(source->isOpen());
    receive(":alive\n\nevent:changed\nda");
    receive("ta:1\n\n\n\nevent:other\n\n");
    receive("id:3\n\nevent:unfinished\n");
    script.stream().completed(std::nullopt);
    EXPECT_EQ(journal->waitFor("failed 0"), "opened, delegate -, changed 1, delegate changed, other -, "
                                            "delegate other, delegate -, failed 0");
    EXPECT_EQ(source->state(), State::failed);
}

TEST_F(EventSource, EndsInTheStateThatItsEndMakes) {
    const kiv::TransportError refused{"URLErrorDomain", -1004, ""};
    const struct {
        const char* what;
        std::function<void(KIVEventSource&, const kiv::HttpStreamHandlers&)> end;
        State state;
        std::string told;
    } cases[] = {
        {"closed", [](auto& its, auto&) { its.close(); }, State::closed, "closed"},
        {"closed twice", [](auto& its, auto&) { its.close(), its.close(); }, State::closed, "closed"},
        {"refused", [&](auto&, auto& stream) { stream.completed(refused); }, State::failed, "failed -1004"},
        {"an event without end",
         [](auto&, auto& stream) {
             stream.responded(500);
             stream.received(std::string(KIVServerSentEvent_maxBytes + 1, 'x'));
         },
         State::failed, "opened, failed -1103"},
    };
    for (const auto& one : cases) {
        Script its;
        const auto told = std::make_shared<Listener>();
        const auto ending = std::make_shared<KIVEventSource>("url", its.opener());
        ending->setDelegate(told);
        ending->open();
        one.end(*ending, its.stream());
        const std::string last =
            one.state == State::closed ? "closed" : one.told.substr(one.told.find("failed"));
        EXPECT_EQ(told->waitFor(last), one.told) << one.what;
        EXPECT_EQ(ending->state(), one.state) << one.what;
    }
}

TEST_F(EventSource, OpensAgainAfterAFailureButNotAfterItsEnd) {
    open();
    source->open();
    receive("event:ol");
    script.stream().completed(std::nullopt);
    journal->waitFor("failed 0");
    source->open();
    script.stream(2).responded(200);
    script.stream(1).received("d\n\n"); // too late
    script.stream(2).received("event:new\n\n");
    EXPECT_EQ(journal->waitFor("delegate new"), "opened, failed 0, opened, delegate new");
    source->close();
    journal->waitFor("closed");
    EXPECT_TRUE(script.waitForCancel(2));
    source->open();
    EXPECT_TRUE(source->isClosed());

    source = std::make_shared<KIVEventSource>("never opened", script.opener());
    source->setDelegate(journal);
    source->close();
    EXPECT_EQ(journal->waitFor("closed", 2), "opened, failed 0, opened, delegate new, closed, closed");
}

TEST_F(EventSource, ListenersMayRemoveOneAnotherAndThrow) {
    std::vector<KIVEventSource::Identifier> others;
    source->addListenerForEvent("changed", [&](const auto&, const auto&) {
        source->removeEventListenerWithIdentifier(others.front());
        journal->note("first");
        throw 1;
    });
    others.push_back(source->addListenerForEvent(
        "changed", [&](const auto&, const auto&) { journal->note("removed one"); }));
    open(); // listens too
    receive("event:changed\n\n");
    EXPECT_EQ(journal->waitFor("delegate changed"), "opened, first, changed -, delegate changed");
    source->removeAllListenersForEvent("changed");
    receive("event:changed\ndata:2\n\n");
    EXPECT_EQ(journal->waitFor("delegate changed", 2),
              "opened, first, changed -, delegate changed, delegate changed");
}

TEST_F(EventSource, DeliversTenThousandEventsAtOnce) {
    std::string stream;
    std::string expected;
    for (int number = 0; number < 10'000; ++number) {
        expected += std::to_string(number) + ' ';
        stream += "event:all\ndata:" + std::to_string(number) + "\n\n";
    }
    std::string all;
    source->addListenerForEvent(
        "all", [&](const auto& event, const auto&) { all += event.data().value_or("") + ' '; });
    open();
    receive(stream);
    script.stream().completed(std::nullopt);
    journal->waitFor("failed 0");
    EXPECT_EQ(all, expected);
}

TEST_F(EventSource, IsQuietOnceItWasClosedOrLetGoOf) {
    const struct {
        const char* what;
        std::function<void()> end;
        const char* last;
    } cases[] = {
        {"closed", [&] { source->close(); }, "closed"},
        {"let go of", [&] { source = nullptr; }, "gone"},
        {"let go of by another thread", [&] { std::thread([&] { source = nullptr; }).join(); }, "gone"},
    };
    for (const auto& one : cases) {
        Script its;
        journal = std::make_shared<Listener>();
        source = std::make_shared<KIVEventSource>("url", its.opener());
        source->setDelegate(journal);
        source->addListenerForEvent("changed", [&](const auto&, const auto&) {
            journal->note("ending");
            one.end();
        });
        journal->listenTo(*source, "changed");
        // The last listener is destroyed after all of them have been called.
        const auto farewell = [kept = journal](void*) { kept->note("gone"); };
        source->addListenerForEvent(
            "changed", [token = std::shared_ptr<void>(nullptr, farewell)](const auto&, const auto&) {});
        source->open();
        its.stream().responded(200);
        its.stream().received("event:changed\n\nevent:changed\n\n");
        its.stream().received("event:changed\n\n");
        EXPECT_EQ(journal->waitFor(one.last), std::string("opened, ending, ") + one.last) << one.what;
        EXPECT_TRUE(its.waitForCancel()) << one.what;
    }
}

TEST_F(EventSource, IsUsedByManyThreadsAndStillEnds) {
    for (int round = 0; round < 50; ++round) {
        Script its;
        const auto heard = std::make_shared<std::atomic<int>>(0);
        source = std::make_shared<KIVEventSource>("url", its.opener());
        source->open();
        const auto& stream = its.stream();
        std::thread network([&] {
            stream.responded(200);
            for (int count = 0; count < 200; ++count) {
                stream.received("event:changed\n\n");
            }
        });
        std::thread listening([&, mine = source]() mutable {
            for (int count = 0; count < 50; ++count) {
                const auto identifier =
                    mine->addListenerForEvent("changed", [heard](const auto&, const auto&) { ++*heard; });
                if (count % 2 == 0) {
                    mine->removeEventListenerWithIdentifier(identifier);
                }
            }
            if (round % 2 == 0) {
                mine->close();
            }
            mine = nullptr;
        });
        source = nullptr;
        network.join();
        listening.join();
        EXPECT_TRUE(its.waitForCancel()) << round;
    }
}

} // namespace
