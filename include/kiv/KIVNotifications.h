#pragma once

#include <string_view>

/// Names of what the library posts on `kiv::NotificationCenter::defaultCenter()`, beside
/// "KIVFlagImpressionNotification"
/// (`KIVString.h`).

/// A flag was added; the object is a `std::shared_ptr<KIVString>`.
inline constexpr std::string_view KIVFlagAddedNotification = "KIVFlagAddedNotification";

/// A property was added; the object is a `std::shared_ptr<const KIVCustomProperty>`. Observers match the name
/// as it is spelled.
inline constexpr std::string_view KIVC_customPropertyAddedNotification = "KIVCustonPropertyAddedNotification";
