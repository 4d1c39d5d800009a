#pragma once

#include <string_view>

/// The names of the notifications that the library posts on `kiv::NotificationCenter::defaultCenter()`, each
/// with the object that an observer gets. Observers run on the thread that posts.

/// A flag was read and evaluated; the object is a `KIVFlagImpression` (`KIVString.h`).
inline constexpr std::string_view KIVFlagImpressionNotification = "KIVFlagImpressionNotification";

/// The application reported its return to the foreground (`KIVHost::applicationWillEnterForeground`); the
/// object is the current `KIVHost`.
inline constexpr std::string_view KIVApplicationWillEnterForegroundNotification =
    "KIVApplicationWillEnterForegroundNotification";

/// A flag was added; the object is a `std::shared_ptr<KIVString>`.
inline constexpr std::string_view KIVFlagAddedNotification = "KIVFlagAddedNotification";

/// A property was added; the object is a `std::shared_ptr<const KIVCustomProperty>`. The text is misspelt and
/// must stay so, because observers match it.
inline constexpr std::string_view KIVC_customPropertyAddedNotification = "KIVCustonPropertyAddedNotification";

/// An upload of impressions started, succeeded or failed. Posted on the main queue; the object has a type
/// that is internal to the library.
inline constexpr std::string_view KIVSegmentDidSendRequestNotification = "KIVSegmentDidSendRequest";
inline constexpr std::string_view KIVSegmentRequestDidSucceedNotification = "KIVSegmentRequestDidSucceed";
inline constexpr std::string_view KIVSegmentRequestDidFailNotification = "KIVSegmentRequestDidFail";
