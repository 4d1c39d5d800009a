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
    /// With an empty path the values are kept in memory only.
    explicit UserDefaults(std::string path);

    /// The defaults of this application, below the present host's Library folder. Never destroyed.
    static UserDefaults& standard();

    /// The value as a text; nullopt when it is absent or of another kind.
    std::optional<std::string> string(std::string_view key);

    /// The value, of any kind; null when it is absent.
    json::value object(std::string_view key);

    // Changes are in the file when the function returns. False when the file could not be written: the change
    // is then kept in memory only.
    bool set(std::string_view key, json::value value);
    bool remove(std::string_view key);
    /// Removes every value whose key begins with `prefix`, with one write of the file.
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
