#pragma once

#include <string>
#include <vector>

/// One line of the table.
struct Row {
    std::string flag;
    std::string type;
    std::string defaultValue;
    std::string value;
    std::string origin;
};

/// What the example prints, and whether it is what it should be.
class Report {
public:
    void heading(const std::string& text) const;
    void space() const;
    void line(const std::string& text) const;
    /// Breaks the text into lines between its words.
    void paragraph(const std::string& text) const;
    void table(const std::vector<Row>& rows) const;
    /// As many cells in each row as there are titles.
    void table(const std::vector<std::string>& titles,
               const std::vector<std::vector<std::string>>& rows) const;

    /// Prints what is wrong unless the condition holds.
    void check(bool holds, const std::string& whatIsWrong);

    bool allWell() const { return allWell_; }

private:
    bool allWell_ = true;
};
