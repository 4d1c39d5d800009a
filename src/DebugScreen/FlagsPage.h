#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "DebugScreen/FlagsPageTab.h"
#include "Platform/Http/HttpCall.h"
#include "Platform/Http/RequestOrigin.h"

namespace kiv {

/// Answers what a browser asks for of a presented flags screen. All of it stands below the secret token, and
/// who does not know that learns nothing. On the page's thread, but for `setPort`.
class FlagsPage {
public:
    FlagsPage(std::shared_ptr<const KIVFlagsViewController> presented, std::string token);

    /// The address that the page's server listens on.
    static constexpr const char* host = "127.0.0.1";

    /// The port that the page's server listens on. To be called once, before the first answer.
    void setPort(unsigned short port);

    /// The address of the page.
    std::string address() const {
        return "http://" + own_.listening + ":" + std::to_string(own_.port.value()) + "/" + token_ + "/";
    }

    /// Of all answers.
    static HttpHeaders headers();

    /// The same answer for all calls that may not ask for anything, whatever they are; nothing for those that
    /// may. Looks at no body.
    std::optional<HttpAnswer> turnAway(const HttpCall& call) const;

    /// What turnAway says, or the answer to a call that may ask.
    HttpAnswer answer(const HttpCall& call);

private:
    struct Tab {
        std::string id;
        FlagsPageTab screen;

        Tab(std::string name, const KIVFlagsViewController& presented)
            : id(std::move(name)), screen(presented) {}
    };

    std::optional<std::string_view> allowedPath(const HttpCall& call) const;
    HttpAnswer read(const std::string& path) const;
    HttpAnswer act(const std::string& action, const HttpCall& call);
    HttpAnswer perform(const std::string& action, const json::object& wish, FlagsPageTab& screen);
    FlagsPageTab* tab(std::string_view id);
    FlagsPageTab& newTab(std::string_view id);

    const std::shared_ptr<const KIVFlagsViewController> presented_;
    const std::string token_;
    PageAddress own_{.listening = host};
    std::list<Tab> tabs_; ///< the one used last comes first
};

} // namespace kiv
