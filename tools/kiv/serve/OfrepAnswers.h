#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Platform/Http/HttpCall.h"
#include "Platform/Text/Json.h"
#include "serve/OfrepContext.h"
#include "serve/OfrepFlags.h"

namespace kiv::tool {

/// What the requests for one key use. A change replaces the pointers; requests that are under way keep
/// theirs.
struct OfrepApplication {
    std::shared_ptr<const OfrepFlags> flags;
    std::shared_ptr<const OfrepDeclarations> declared;
};

/// The answer to a request, and the impressions that it makes, as events of an upload.
struct OfrepAnswer {
    HttpAnswer http;
    json::array impressions = {};
};

/// Limits of the body of a request, in bytes and in values.
inline constexpr std::size_t mostOfrepBytes = std::size_t{256} << 10;
inline constexpr std::size_t mostOfrepValues = 10'000;

HttpAnswer ofrepErrorAnswer(const OfrepError& error, std::string_view flag);

/// The answer to a call that asks for one flag. Does not throw. Callable from any thread.
OfrepAnswer answerFlag(const OfrepApplication& application, const std::string& flag, HttpCall call);

/// The answer to a call that asks for all flags: 304 when the client knows the values already. Clients hear
/// of changes at `eventsPath`. Does not throw. Callable from any thread.
OfrepAnswer answerAllFlags(const OfrepApplication& application, const std::string& eventsPath, HttpCall call);

} // namespace kiv::tool
