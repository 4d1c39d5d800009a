#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Text/Json.h"

namespace kiv {

/// Named values that outlive the process: one property-list file, "Preferences/<bundle identifier>.plist"
/// below the Library folder ("Preferences/kiv.plist" without an identifier). Callable from any thread. Each
/// read sees what another process wrote: the file is read again when it has changed.
class UserDefaults {
public:
    /// With an empty path the values hold in memory only.
    explicit UserDefaults(std::string path);

    /// The defaults of this application, below the host's Library folder as it is now.
    static UserDefaults& standard();

    std::optional<std::string> string(std::string_view key);

    /// Any value, null when absent.
    json::value object(std::string_view key);

    /// Stores the value and writes the file before it returns. False when the file could not be written: the
    /// value then holds in memory only.
    bool set(std::string_view key, json::value value);
    bool remove(std::string_view key);
    /// Removes every value whose key begins so, with one write of the file; "" is the beginning of all.
    bool removeAll(std::string_view prefix);

private:
    void refresh();
    bool save();

    std::string path_;
    std::mutex lock_;
    json::object values_;
    std::string stamp_;
};

} // namespace kiv
