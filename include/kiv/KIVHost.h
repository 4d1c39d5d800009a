#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <kiv/KIVExport.h>

/// What the library takes from the device and from the application it runs in.
///
/// An application may fill in any field and hand the whole to `configure` before its first call of `KIVCore`;
/// what it leaves empty is detected, and what cannot be detected is missing. All folders are absolute paths
/// without a trailing slash.
struct KIV_API KIVHost {
    struct Screen {
        int width = 0;  ///< points
        int height = 0; ///< points
    };

    /// What impressions that wait to be sent are encrypted with on disk (AES-256 in CBC mode, by a key
    /// derived from the password). The application keeps all three, and gives the same ones at each start:
    /// what was written with others cannot be read any more.
    struct AnalyticsEncryption {
        std::string password;
        std::string salt; ///< bytes
        std::string iv;   ///< 16 bytes
    };

    /// Identifier of the application, in reverse domain order.
    std::optional<std::string> bundleIdentifier = {};
    /// Version of the application that its users see.
    std::optional<std::string> shortVersion = {};
    /// Build version of the application.
    std::optional<std::string> version = {};
    /// Folder of the files shipped with the application.
    std::optional<std::string> resourceDirectory = {};
    /// Folder below which the library keeps all its files. With an empty one, and where none can be detected,
    /// it keeps none.
    std::optional<std::string> libraryDirectory = {};
    std::optional<std::string> homeDirectory = {};
    /// The name its user gave the device.
    std::optional<std::string> deviceName = {};
    std::optional<std::string> systemName = {};
    std::optional<std::string> systemVersion = {};
    /// Hardware model of the device.
    std::optional<std::string> model = {};
    /// An identifier of the device for all applications of one vendor: a UUID in upper case.
    std::optional<std::string> vendorIdentifier = {};
    /// Such as "en_GB": language code, underscore, country code.
    std::optional<std::string> locale = {};
    std::optional<Screen> screen = {};
    /// One of "unspecified", "phone", "pad", "tv", "carPlay".
    std::optional<std::string> idiom = {};
    /// PEM file of the certificate authorities that TLS trusts, in place of the system's.
    std::optional<std::string> caFile = {};
    /// Proxy for all requests, in place of the environment's.
    std::optional<std::string> proxy = {};

    /// Without it, impressions that wait to be sent stand in plain files.
    std::optional<AnalyticsEncryption> analyticsEncryption = {};

    /// Also logs what becomes of impressions that go to a service: what is queued, sent and dropped.
    bool analyticsLog = false;

    /// Receives every line that the library logs, without a line break. Called on the thread that logs, from
    /// several threads at once. It may call the library; what the library logs meanwhile is left out. Lines
    /// go to standard error when it is empty.
    std::function<void(const std::string& line)> logSink = {};

    /// The application's main queue: runs the given task later, in order, on the application's main thread. A
    /// thread of the library takes its place when it is empty.
    std::function<void(std::function<void()> task)> mainQueue = {};

    /// Replaces what the application told before. Call it before the first call of `KIVCore`: objects that
    /// exist already keep what they have read. Throws `std::invalid_argument`, and changes nothing, when
    /// the encryption's IV has not 16 bytes. Callable from any thread.
    static void configure(KIVHost host);

    /// What the application told, completed with what was detected. Never null. Callable from any thread.
    static std::shared_ptr<const KIVHost> current();

    /// The application says that it has returned to the foreground. The library thaws flags of level 2 and
    /// above and fetches; this happens on the calling thread, which does not wait for the network. Callable
    /// from any thread.
    static void applicationWillEnterForeground();
};
