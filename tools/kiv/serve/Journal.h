#pragma once

#include <string>
#include <string_view>

#include "Platform/Http/HttpCall.h"
#include "Terminal.h"

namespace kiv::tool {

/// The log of a service, for the person who runs it: lines on standard error.
class Journal {
public:
    /// A quiet journal writes only errors and warnings.
    explicit Journal(bool isQuiet) : isQuiet_(isQuiet) {}

    /// Writes a line about an answer. `what` names the endpoint; for other requests it says what was asked
    /// for. `key` may be empty.
    void answered(const HttpAnswer& answer, std::string_view what, std::string_view key) const;

    void told(Terminal::Style style, std::string_view text) const;

private:
    void write(std::string_view line) const;

    bool isQuiet_;
    Terminal terminal_ = Terminal::ofErrors();
};

} // namespace kiv::tool
