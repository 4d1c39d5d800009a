#pragma once

#include <string>
#include <string_view>

#include "Platform/Http/HttpCall.h"
#include "Terminal.h"

namespace kiv::tool {

/// What a service tells the person who runs it, line by line, on standard error.
class Journal {
public:
    /// A quiet journal tells only what needs somebody to do something.
    explicit Journal(bool isQuiet) : isQuiet_(isQuiet) {}

    /// `what` is the name of the endpoint, or what was asked for instead; `key` may be empty.
    void answered(const HttpAnswer& answer, std::string_view what, std::string_view key) const;

    void told(Terminal::Style style, std::string_view text) const;

private:
    void write(std::string_view line) const;

    bool isQuiet_;
    Terminal terminal_ = Terminal::ofErrors();
};

} // namespace kiv::tool
