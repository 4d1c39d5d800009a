#pragma once

#include <filesystem>

#include <kiv/KIVHost.h>

namespace kiv {

/// Completes what the application told with what a program can find out by itself on Linux:
///
/// | field | from |
/// |---|---|
/// | bundleIdentifier, shortVersion, version | the application's information file, else missing |
/// | resourceDirectory | the information file, else the executable's folder |
/// | homeDirectory | HOME, else the user's record |
/// | libraryDirectory | XDG_DATA_HOME, else .local/share in the home folder; then "<identifier>/Library" |
/// | deviceName | the machine's name in the network |
/// | systemName, systemVersion | NAME and VERSION_ID of /etc/os-release, else the kernel's |
/// | model | the firmware's product name, else the device tree's, else the kind of processor |
/// | vendorIdentifier | a digest of /etc/machine-id, which itself is never told |
/// | locale | the first that is set of LC_ALL, LC_MESSAGES and LANG, without encoding and modifier |
/// | idiom | "unspecified" |
///
/// Screen, CA file, proxy, log sink and main queue come from the application alone. The information file
/// stands beside the executable and is called "<executable>.info.json": an object with "bundleIdentifier",
/// "shortVersion", "version" and "resources", a folder seen from the file. Without an identifier the
/// executable's name takes its place in the Library folder. Folders that the environment names relatively are
/// passed over, as nobody knows from where.
KIVHost completeHost(KIVHost host);

/// The same for another program than this one, as it would find out by itself in this environment. Its path
/// is absolute; an empty one stands for a program that does not know it.
KIVHost completeHost(KIVHost host, const std::filesystem::path& program);

} // namespace kiv
