#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "config/Finding.h"

namespace kiv::tool {

/// A part of a file, in bytes.
struct FilePart {
    std::size_t begin;
    std::size_t end;
};

/// A document and what was found in it.
class LintedFile {
public:
    /// Reads and checks the file at `path`; "-" is standard input. With `states`, the folder of a service,
    /// also finds the flags that no application has reported to that service; throws `BadInput` when the
    /// folder has no records. With `strict`, every warning is an error.
    LintedFile(std::string path, const std::string& states, bool strict);

    const std::string& path() const { return path_; }
    const std::string& text() const { return text_; }
    const std::vector<Finding>& findings() const { return findings_; }

    /// Where the finding is in the text of the file.
    FilePart partOf(const Finding& finding) const;

private:
    void find(const std::string& states);
    void locate();
    std::optional<FilePart> partOfPayload(const Finding& finding) const;

    std::string path_;
    std::string text_;
    std::vector<Finding> findings_;
    std::optional<std::size_t> data_; ///< where an envelope's "data" begins
    std::string payload_;             ///< the text in "data"; else that of the file
    /// Where the elements of "experiments" and "targetGroups" begin in the payload.
    std::vector<std::size_t> experiments_;
    std::vector<std::size_t> targetGroups_;
};

} // namespace kiv::tool
