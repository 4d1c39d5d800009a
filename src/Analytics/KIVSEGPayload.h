#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

/// The fields that all calls of the analytics client have: the context of the event, and the integrations
/// that it is for. The fields of one call are in a subclass.
struct KIVSEGPayload {
    /// Takes the two fields from the members "context" and "integrations" of a call's options. A member that
    /// is missing or no dictionary counts as empty.
    explicit KIVSEGPayload(const kiv::json::object& options)
        : context(member(options, "context")), integrations(member(options, "integrations")) {}
    virtual ~KIVSEGPayload() = default;
    KIVSEGPayload(const KIVSEGPayload&) = default;
    KIVSEGPayload& operator=(const KIVSEGPayload&) = delete;

    kiv::json::object context;
    kiv::json::object integrations;

private:
    static kiv::json::object member(const kiv::json::object& options, std::string_view name) {
        const kiv::json::object* object = kiv::objectMember(options, name);
        return object ? *object : kiv::json::object();
    }
};

struct KIVSEGIdentifyPayload : KIVSEGPayload {
    using KIVSEGPayload::KIVSEGPayload;
    std::optional<std::string> userId;
    std::optional<std::string> anonymousId;
    kiv::json::object traits;
};

struct KIVSEGTrackPayload : KIVSEGPayload {
    using KIVSEGPayload::KIVSEGPayload;
    std::string event;
    kiv::json::object properties;
};

struct KIVSEGScreenPayload : KIVSEGPayload {
    using KIVSEGPayload::KIVSEGPayload;
    std::string name;
    std::optional<std::string> category;
    kiv::json::object properties;
};

struct KIVSEGGroupPayload : KIVSEGPayload {
    using KIVSEGPayload::KIVSEGPayload;
    std::string groupId;
    kiv::json::object traits;
};

struct KIVSEGAliasPayload : KIVSEGPayload {
    using KIVSEGPayload::KIVSEGPayload;
    std::string theNewId;
};

/// An event of the application's life cycle. Has no fields of its own.
struct KIVSEGApplicationLifecyclePayload : KIVSEGPayload {
    using KIVSEGPayload::KIVSEGPayload;
};

/// A remote notification, or the outcome of registering for them. Each call sets only the fields it is about.
struct KIVSEGRemoteNotificationPayload : KIVSEGApplicationLifecyclePayload {
    using KIVSEGApplicationLifecyclePayload::KIVSEGApplicationLifecyclePayload;
    std::string actionIdentifier;
    kiv::json::object userInfo;
    std::string error;
    std::string deviceToken; ///< bytes
};

/// An activity that the user began elsewhere and continues here.
struct KIVSEGUserActivity {
    std::string activityType;
    std::optional<std::string> webpageURL;
};

struct KIVSEGContinueUserActivityPayload : KIVSEGApplicationLifecyclePayload {
    using KIVSEGApplicationLifecyclePayload::KIVSEGApplicationLifecyclePayload;
    KIVSEGUserActivity activity;
};

struct KIVSEGOpenURLPayload : KIVSEGApplicationLifecyclePayload {
    using KIVSEGApplicationLifecyclePayload::KIVSEGApplicationLifecyclePayload;
    std::string url;
    kiv::json::object options;
};
