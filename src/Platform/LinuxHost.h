#pragma once

#include <kiv/KIVHost.h>

namespace kiv {

/// What a program can find out by itself on Linux:
///
/// | field | from |
/// |---|---|
/// | bundleIdentifier, shortVersion, version, resourceDirectory | the application's information file |
/// | resourceDirectory, when the file names none | the executable's folder |
/// | homeDirectory | HOME, else the user's record |
/// | libraryDirectory | XDG_DATA_HOME, else .local/share in the home folder; then "<identifier>/Library" |
/// | deviceName | the host's name |
/// | systemName, systemVersion | /etc/os-release, else the kernel's |
/// | model | the firmware's product name, else the kind of machine |
/// | vendorIdentifier | made from /etc/machine-id, which itself is never told |
/// | locale | LC_ALL, LC_MESSAGES, LANG |
/// | idiom | "unspecified" |
///
/// The information file stands beside the executable and is called "<executable>.info.json": an object with
/// "bundleIdentifier", "shortVersion", "version" and "resources", a folder seen from the file. Without an identifier the
/// executable's name takes its place in the Library folder.
KIVHost detectHost();

} // namespace kiv
