#include <kiv/KIVException.h>

#include "Analytics/AnalyticsFixture.h"

namespace {

using Calls = AnalyticsFixture;
using Object = kiv::json::object;

/// The events without the members that differ each time.
kiv::json::array told(kiv::json::array events) {
    for (auto& event : events) {
        EXPECT_EQ(event.at("messageId").as_string().size(), 36U);
        EXPECT_EQ(event.at("timestamp").as_string().size(), std::string("2026-01-01T00:00:00.000Z").size());
        event.as_object().erase("messageId");
        event.as_object().erase("timestamp");
    }
    return events;
}

TEST_F(Calls, BecomeEvents) {
    const auto analytics = client();
    settle();
    const std::string anonymous = *analytics->getAnonymousId();
    const Object options{{"context", {{"page", "home"}}}, {"integrations", {{"other", true}}}};
    analytics->alias("new");
    analytics->identify("ann", {{"plan", "gold"}});
    analytics->identify("ann", {{"age", 30}});
    analytics->registeredForRemoteNotificationsWithDeviceToken(std::string("\x0a\xff", 2));
    analytics->screen("Cart", {{"items", 2}}, options);
    analytics->group("acme", {{"size", 9}});
    analytics->alias("newer");
    analytics->trackPushNotification({{"id", 1}}, true);
    analytics->trackPushNotification({}, false);
    // These make no event.
    analytics->receivedRemoteNotification({{"x", 1}});
    analytics->failedToRegisterForRemoteNotificationsWithError("no");
    analytics->handleActionWithIdentifier("open", {});
    analytics->continueUserActivity({"browsing", "https://shop.example/a"});
    analytics->openURL("https://shop.example/b", {});
    const Object none;
    const Object token{{"device", {{"token", "0aff"}}}};
    const auto event = [&](Object members, const char* userId, const Object& context,
                           const Object& integrations = {}) {
        members["anonymousId"] = anonymous;
        members["context"] = context;
        members["integrations"] = integrations;
        if (userId) {
            members["userId"] = userId;
        }
        return members;
    };
    const kiv::json::array expected{
        event({{"type", "alias"}, {"userId", "new"}, {"previousId", anonymous}}, nullptr, none),
        event({{"type", "identify"}, {"traits", {{"plan", "gold"}}}}, "ann", none),
        event({{"type", "identify"}, {"traits", {{"plan", "gold"}, {"age", 30}}}}, "ann", none),
        event({{"type", "screen"}, {"name", "Cart"}, {"properties", {{"items", 2}}}}, "ann",
              {{"device", {{"token", "0aff"}}}, {"page", "home"}}, {{"other", true}}),
        event({{"type", "group"}, {"groupId", "acme"}, {"traits", {{"size", 9}}}}, "ann", token),
        event({{"type", "alias"}, {"userId", "newer"}, {"previousId", "ann"}}, nullptr, token),
        event({{"type", "track"}, {"event", "Push Notification Tapped"}, {"properties", {{"id", 1}}}}, "ann",
              token),
        event({{"type", "track"}, {"event", "Push Notification Received"}, {"properties", none}}, "ann",
              token),
    };
    EXPECT_EQ(told(kept()), expected);

    EXPECT_EQ(storage().stringForKey("kiv.segmentio.userId"), "ann");
    analytics->reset();
    analytics->track("after", {});
    const auto events = kept();
    ASSERT_EQ(events.size(), 9U) << "the queue is kept";
    EXPECT_FALSE(kiv::member(events[8], "userId"));
    EXPECT_NE(events[8].at("anonymousId"), anonymous.c_str());
    EXPECT_EQ(*analytics->getAnonymousId(), storage().stringForKey("KIVsegment.anonymousId").as_string());
    EXPECT_TRUE(storage().stringForKey("kiv.segmentio.userId").is_null());
    EXPECT_TRUE(storage().dictionaryForKey("kiv.segmentio.traits.plist").is_null());
}

TEST_F(Calls, PassTheMiddlewaresInOrder) {
    auto own = configuration();
    own->middlewares = {
        std::make_shared<KIVSEGBlockMiddleware>([](auto context, const auto& next) {
            next(context->modify([](KIVSEGContext& copy) {
                auto payload = std::make_shared<KIVSEGTrackPayload>(
                    dynamic_cast<const KIVSEGTrackPayload&>(*copy.payload));
                payload->event += "+1";
                copy.payload = payload;
            }));
        }),
        std::make_shared<KIVSEGBlockMiddleware>([](auto context, const auto& next) {
            const auto& event = dynamic_cast<const KIVSEGTrackPayload&>(*context->payload).event;
            if (event == "swallowed+1") {
                return;
            }
            next(event == "untyped+1"
                     ? context->modify([](auto& copy) { copy.eventType = KIVSEGEventType::undefined; })
                 : event == "mistyped+1"
                     ? context->modify([](auto& copy) { copy.eventType = KIVSEGEventType::screen; })
                     : context);
        })};
    const auto analytics = KIVSEGAnalytics::create(own);
    analytics->track("swallowed", {});
    analytics->track("changed", {});
    EXPECT_THROW(analytics->track("untyped", {}), KIVException);
    EXPECT_TRUE(log.has({"[ERROR]: Received context with undefined event type 0"}));
    EXPECT_THROW(analytics->track("mistyped", {}), KIVException);
    EXPECT_THROW(analytics->track("", {}), KIVException);
    const auto events = kept();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].at("event"), "changed+1");
    EXPECT_THROW(KIVSEGAnalytics::create(nullptr), KIVException);
}

TEST_F(Calls, ReachTheIntegrationsThatTheOptionsAndThePlanLeaveIn) {
    const Object none;
    const Object allOff{{"All", false}};
    const std::string own(KIVSEGSegmentIntegrationKey);
    const struct {
        std::string key;
        Object options;
        bool isIn;
    } cases[] = {
        {own, {{own, false}, {"All", false}}, true},
        {"other", none, true},
        {"other", allOff, false},
        {"other", {{"all", 0}}, false},
        {"other", {{"All", true}, {"all", false}}, true},
        {"other", {{"other", true}, {"All", false}}, true},
        {"other", {{"other", "no"}, {"All", true}}, false},
        {"other", {{"other", Object{{"since", 1}}}, {"All", false}}, true},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(KIVSEGIntegrationsManager::isIntegration(each.key, each.options), each.isIn)
            << each.key << kiv::compactJson(each.options);
    }
    const Object plan{{"track",
                       {{"off", {{"enabled", false}}},
                        {"on", {{"enabled", true}}},
                        {"narrow", {{"enabled", true}, {"integrations", {{"other", false}}}}}}}};
    const auto isIn = [&](const char* event, const char* key) {
        return KIVSEGIntegrationsManager::isTrackEvent(event, key, plan);
    };
    EXPECT_FALSE(isIn("off", "other"));
    EXPECT_TRUE(isIn("on", "other") && isIn("unknown", "other") && isIn("narrow", "another"));
    EXPECT_FALSE(isIn("narrow", "other"));
}

TEST_F(Calls, LeaveOutAnIntegrationWithoutSettings) {
    struct Factory : KIVSEGIntegrationFactory {
        std::string key() const override { return "unknown"; }
        std::shared_ptr<KIVSEGIntegration>
        createWithSettings(const Object&, const std::shared_ptr<KIVSEGAnalytics>&) const override {
            ADD_FAILURE() << "it has no settings";
            return nullptr;
        }
    };
    auto own = configuration();
    own->use(std::make_shared<Factory>());
    const auto analytics = KIVSEGAnalytics::create(own);
    analytics->track("queued", {}); // before there is anything that it could go to
    EXPECT_EQ(kept().size(), 1U);
    EXPECT_TRUE(log.has({"Queueing: track"}) && log.has({"No settings for unknown. Skipping."}));
    const Object one{{KIVSEGSegmentIntegrationKey, false}};
    EXPECT_EQ(analytics->bundledIntegrations(), one);
    EXPECT_EQ(storage().dictionaryForKey("kiv.analytics.settings.v2.plist"),
              (Object{{"integrations", {{KIVSEGSegmentIntegrationKey, {{"apiKey", analyticsKey}}}}},
                      {"plan", {{"track", Object()}}}}));
}

TEST_F(Calls, DoNothingWithoutAUrl) {
    auto own = configuration();
    own->url.reset();
    const auto analytics = KIVSEGAnalytics::create(own);
    analytics->enable();
    EXPECT_FALSE(analytics->enabled());
    track(*analytics, 0, 30);
    analytics->flush();
    settle();
    EXPECT_FALSE(std::filesystem::exists(storage().urlForKey("kiv.segmentio.queue.plist")));

    const auto switched = client();
    switched->disable();
    track(*switched, 0, 1);
    switched->enable();
    track(*switched, 1, 1);
    EXPECT_EQ(keptNumbers(), "1-1");
}

} // namespace
