#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "DebugScreen/FlagsPageTab.h"
#include "Platform/Http/HttpCall.h"
#include "Platform/Http/RequestOrigin.h"

namespace kiv {

/// Answers the requests of a browser for the page that presents a model. The path of each request begins with
/// the secret token; a request without it learns nothing. Used on the page's thread, except for `setPort` and
/// `address`.
class FlagsPage {
public:
    /// The address that the page's server listens on: this machine alone can reach it.
    static constexpr const char* host = "127.0.0.1";

    FlagsPage(std::shared_ptr<const KIVFlagsViewController> presented, std::string token);

    /// The port that the page's server listens on. To be called once, before the first answer.
    void setPort(unsigned short port);

    /// The address of the page.
    std::string address() const {
        return "http://" + own_.listening + ":" + std::to_string(own_.port.value()) + "/" + token_ + "/";
    }

    /// The headers that every answer carries.
    static HttpHeaders headers();

    /// nullopt for a call that is allowed; otherwise the refusal, the same answer for every refused call.
    /// Does not look at the body.
    std::optional<HttpAnswer> turnAway(const HttpCall& call) const;

    /// The answer to a call that is allowed; otherwise the refusal of `turnAway`.
    HttpAnswer answer(const HttpCall& call);

private:
    struct Tab {
        std::string id;
        FlagsPageTab content;

        Tab(std::string name, const KIVFlagsViewController& presented)
            : id(std::move(name)), content(presented) {}
    };

    std::optional<std::string_view> allowedPath(const HttpCall& call) const;
    HttpAnswer read(const std::string& path) const;
    HttpAnswer act(const std::string& action, const HttpCall& call);
    HttpAnswer perform(const std::string& action, const json::object& wish, FlagsPageTab& tab);
    FlagsPageTab* knownTab(std::string_view id);
    FlagsPageTab& newTab(std::string_view id);

    const std::shared_ptr<const KIVFlagsViewController> presented_;
    const std::string token_;
    PageAddress own_{.listening = host};
    std::list<Tab> tabs_; ///< in the order of use, the latest first
};

} // namespace kiv
