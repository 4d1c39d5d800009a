#pragma once

#include <string>
#include <string_view>

#include "Platform/Http/HttpCall.h"
#include "serve/Records.h"
#include "serve/ServedDocument.h"

namespace kiv::tool::overview {

/// The answer with what the page of one flag shows, as JSON. The query is `flag=NAME&span=SPAN`; SPAN is
/// "hour", "day" or "month". `key` is the flag's application, `document` that application's.
HttpAnswer flagData(Records& records, const std::string& key, const ServedDocument& document,
                    std::string_view query);

} // namespace kiv::tool::overview
