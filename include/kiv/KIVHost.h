#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <kiv/KIVExport.h>

/// What the library knows of the device, and of the application that it runs in.
///
/// An application may fill in any field and pass the host to `configure` before its first call of `KIVCore`.
/// The library detects the fields that are empty; a field that it cannot detect stays empty. All folders are
/// absolute paths without a slash at the end.
struct KIV_API KIVHost {
    struct Screen {
        int width = 0;  ///< points
        int height = 0; ///< points
    };

    /// How impressions that wait to be sent are encrypted on disk: AES-256 in CBC mode, with a key derived
    /// from the password and the salt. The application keeps all three and gives the same values at each
    /// start; the library cannot read files that it wrote with other values.
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
    /// Folder below which the library keeps all its files. It keeps no files when the path is empty, or when
    /// the field is not set and no folder can be detected.
    std::optional<std::string> libraryDirectory = {};
    std::optional<std::string> homeDirectory = {};
    /// The name that its user gave the device.
    std::optional<std::string> deviceName = {};
    std::optional<std::string> systemName = {};
    std::optional<std::string> systemVersion = {};
    /// Hardware model of the device.
    std::optional<std::string> model = {};
    /// An identifier of the device for all applications of one vendor: a UUID in upper case.
    std::optional<std::string> vendorIdentifier = {};
    /// Language code, underscore, country code: "en_GB".
    std::optional<std::string> locale = {};
    std::optional<Screen> screen = {};
    /// Kind of device: one of "unspecified", "phone", "pad", "tv", "carPlay".
    std::optional<std::string> idiom = {};
    /// PEM file of the certificate authorities that requests trust, in place of the system's.
    std::optional<std::string> caFile = {};
    /// Proxy for all requests, in place of the environment's.
    std::optional<std::string> proxy = {};

    /// Encryption of the files of impressions that wait to be sent; when it is not set, the files are not
    /// encrypted.
    std::optional<AnalyticsEncryption> analyticsEncryption = {};

    /// Whether the library also logs which impressions are queued, sent and dropped on their way to a
    /// service.
    bool analyticsLog = false;

    /// Receives every line that the library logs, without a line break. Called on the thread that logs, and
    /// on several threads at once. It may call the library; lines that the library logs meanwhile on the same
    /// thread are left out. When it is empty, lines go to standard error.
    std::function<void(const std::string& line)> logSink = {};

    /// The application's main queue: runs `task` later, in order, on the application's main thread. Called on
    /// a thread of the library. When it is empty, a thread of the library runs the tasks.
    std::function<void(std::function<void()> task)> mainQueue = {};

    /// Replaces the host that was configured before. Call it before the first call of `KIVCore`: objects that
    /// exist already keep the values that they have read. Throws `std::invalid_argument`, and changes
    /// nothing, when the IV of the encryption is not 16 bytes long. Callable from any thread.
    static void configure(KIVHost host);

    /// The configured host, its empty fields filled with what was detected. Never null. Callable from any
    /// thread.
    static std::shared_ptr<const KIVHost> current();

    /// To be called when the application has returned to the foreground. Unfreezes the flags of level 2 and
    /// above and starts a fetch, on the calling thread, without waiting for the network. Callable from any
    /// thread.
    static void applicationWillEnterForeground();
};
