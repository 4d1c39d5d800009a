#include "Platform/Http/HttpCall.h"

#include "Platform/Text/Json.h"

namespace kiv {

HttpAnswer refusal(unsigned status, const std::string& reason) {
    return {.status = status,
            .body = std::make_shared<const std::string>(compactJson(json::object{{"error", reason}}) + "\n"),
            .note = reason};
}

} // namespace kiv
