#pragma once

#include <filesystem>

#include <kiv/KIVHost.h>

namespace kiv {

/// Fills the fields that the application left empty with values that a program finds by itself on Linux:
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
/// | vendorIdentifier | a digest of /etc/machine-id; the machine-id itself is kept secret |
/// | locale | the first that is set of LC_ALL, LC_MESSAGES and LANG, without encoding and modifier |
/// | idiom | "unspecified" |
///
/// Only the application can give the other fields. The information file lies in the executable's folder and
/// is called "<executable>.info.json": an object with "bundleIdentifier", "shortVersion", "version" and
/// "resources", a folder relative to the folder of the file. Without an identifier, the path of the Library
/// folder contains the executable's name in its place. Relative paths in the environment are ignored.
KIVHost completeHost(KIVHost host);

/// Fills the fields with the values that another program would find in this environment. `program` is the
/// absolute path of that program; empty for a program that cannot find its own path.
KIVHost completeHost(KIVHost host, const std::filesystem::path& program);

} // namespace kiv
