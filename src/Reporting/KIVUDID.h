#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The identifier of this installation for one SDK key, kept in "corvane-<key>-properties.plist" in the
/// Library folder.
class KIVUDID {
public:
    KIVUDID() = delete;

    /// Loads the identifier, or makes one and writes it when there is none or its file is damaged. When
    /// several processes find none, all take the identifier of the first. A failure to write is logged; the
    /// identifier then holds for this process. Callable from any thread.
    explicit KIVUDID(const std::string& key);

    const std::string& distinctId() const { return distinctId_; }

    /// The identifier that is stored for the key; nullopt when there is none or its file is damaged. Writes
    /// nothing.
    static std::optional<std::string> storedDistinctId(const std::string& key);

    /// The vendor identifier of the device, or a new random UUID when the device has none, in upper case.
    static std::string defaultDistinctId();

    const std::string& propertiesFilePath() const { return path_; }

private:
    /// Writes the identifier, or takes the identifier that another process has written meanwhile.
    bool archiveProperties();
    std::string archive() const;
    /// Takes the identifier that the file at `path` holds; returns false when it holds none.
    bool takeStoredAt(const std::string& path);

    const std::string path_;
    std::string distinctId_;
};
