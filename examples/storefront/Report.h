#pragma once

#include <string>
#include <vector>

/// A row of the table of flags.
struct Row {
    std::string flag;
    std::string type;
    std::string defaultValue;
    std::string value;
    std::string origin;
};

/// Prints what the example shows, and remembers whether all checks held.
class Report {
public:
    void heading(const std::string& text) const;
    void space() const;
    void line(const std::string& text) const;
    /// Prints the text in lines of at most 90 characters, and an empty line after it.
    void paragraph(const std::string& text) const;
    void table(const std::vector<Row>& rows) const;
    /// Each row has as many cells as there are titles.
    void table(const std::vector<std::string>& titles,
               const std::vector<std::vector<std::string>>& rows) const;

    /// Prints `whatIsWrong` to the error output when the condition does not hold. `allWell` is false from
    /// then on.
    void check(bool holds, const std::string& whatIsWrong);

    bool allWell() const { return allWell_; }

private:
    bool allWell_ = true;
};
