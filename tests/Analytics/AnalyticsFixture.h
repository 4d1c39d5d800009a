#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <kiv/NotificationCenter.h>

#include "Analytics/KIVSEGAnalytics.h"
#include "Analytics/KIVSEGFileStorage.h"
#include "Analytics/KIVSEGIntegrationsManager.h"
#include "Analytics/KIVSEGSegmentIntegration.h"
#include "Flags/KIVFeatureFlagsRepository.h"
#include "Platform/Threads/Queues.h"
#include "Support/CapturedLog.h"
#include "Support/Inbox.h"
#include "Support/LoopbackServer.h"

inline const std::string analyticsKey = "5e0bd1f2c3a4b5d6e7f80912";

/// Analytics clients with the files of one application, against a server that takes uploads until the test
/// says otherwise.
class AnalyticsFixture : public ::testing::Test {
protected:
    using Object = kiv::json::object;

    AnalyticsFixture() {
        KIVSEGAnalytics::debug(true);
        answer(LoopbackServer::answer(200, ""));
        for (const std::string_view name :
             {KIVSegmentRequestDidSucceedNotification, KIVSegmentRequestDidFailNotification}) {
            tokens_.push_back(kiv::NotificationCenter::defaultCenter().addObserver(
                std::string(name), [outcomes = outcomes_](const kiv::Notification& posted) {
                    outcomes->put(std::string(posted.name()));
                }));
        }
    }
    ~AnalyticsFixture() override {
        for (const auto token : tokens_) {
            kiv::NotificationCenter::defaultCenter().removeObserver(token);
        }
    }

    void answer(LoopbackServer::Behaviour behaviour) {
        server.on("/impression/" + analyticsKey, std::move(behaviour));
    }

    std::shared_ptr<KIVSEGAnalyticsConfiguration> configuration() const {
        return KIVSEGAnalyticsConfiguration::configurationWithWriteKey(analyticsKey, device, server.url(""));
    }
    std::shared_ptr<KIVSEGAnalytics> client() const { return KIVSEGAnalytics::create(configuration()); }

    /// Tracks `count` events whose property "number" counts up from `first`.
    static void track(KIVSEGAnalytics& analytics, int first, int count) {
        for (int i = first; i < first + count; ++i) {
            analytics.track("impression", {{"number", i}});
        }
    }

    /// Waits until the library has nothing left to do but to wait for the network.
    static void settle() { kiv::Timer::timePassed(); }

    /// The next outcome of an upload: the name of its notification, or "nothing" when none comes.
    std::string nextOutcome() {
        std::string name = outcomes_->next().value_or("nothing");
        settle();
        return name;
    }

    static KIVSEGFileStorage storage() {
        return {KIVSEGFileStorage::applicationSupportDirectoryURL() + "/" + analyticsKey, nullptr};
    }

    /// The events on disk, once all is written.
    static kiv::json::array kept() {
        settle();
        const auto events = storage().arrayForKey("kiv.segmentio.queue.plist");
        return events.is_array() ? events.get_array() : kiv::json::array();
    }

    /// The numbers of events as "0-18", each one more than the one before; "none" without any.
    static std::string numbers(const kiv::json::array& properties) {
        if (properties.empty()) {
            return "none";
        }
        const auto number = [&](std::size_t i) {
            return properties[i].at("number").to_number<std::size_t>();
        };
        for (std::size_t i = 1; i < properties.size(); ++i) {
            EXPECT_EQ(number(i), number(0) + i);
        }
        return std::to_string(number(0)) + "-" + std::to_string(number(properties.size() - 1));
    }
    static std::string keptNumbers() {
        kiv::json::array properties;
        for (const auto& event : kept()) {
            properties.push_back(event.at("properties"));
        }
        return numbers(properties);
    }

    /// The numbers of the events in the request of that index.
    std::string sentNumbers(std::size_t request) const {
        EXPECT_TRUE(server.waitForRequests(request + 1));
        const auto body = kiv::parseJson(server.requests().at(request).body);
        return body ? numbers(body->at("events").as_array()) : "no JSON";
    }

    CapturedLog log;
    LoopbackServer server;
    std::shared_ptr<KIVDeviceProperties> device = std::make_shared<KIVDeviceProperties>(
        analyticsKey, std::nullopt, std::make_shared<KIVCustomPropertiesRepository>(),
        std::make_shared<KIVFeatureFlagsRepository>());

private:
    std::shared_ptr<Inbox<std::string>> outcomes_ = std::make_shared<Inbox<std::string>>();
    std::vector<kiv::NotificationCenter::Token> tokens_;
};
