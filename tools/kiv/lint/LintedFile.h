#pragma once

#include <string>
#include <vector>

#include "Terminal.h"
#include "config/Finding.h"

namespace kiv::tool {

/// A part of a file.
struct FileRegion {
    LineColumn begin;
    LineColumn end;
};

/// A document and what was found in it.
class LintedFile {
public:
    /// Reads and checks the file at `path`; "-" is standard input. A file that cannot be read has that as its
    /// finding. With `records`, the records file of a service (empty: none), also finds the flags that no
    /// application has reported to it. With `strict`, every warning is an error.
    LintedFile(std::string path, const std::string& records, bool strict);

    const std::string& path() const { return path_; }
    const std::vector<Finding>& findings() const { return findings_; }

    /// Where each of the findings is in the file, in the order of the findings.
    std::vector<FileRegion> regions() const;

private:
    void find(const std::string& records);

    std::string path_;
    std::string text_;
    std::vector<Finding> findings_;
};

} // namespace kiv::tool
