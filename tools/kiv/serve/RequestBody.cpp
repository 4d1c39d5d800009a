#include "serve/RequestBody.h"

#include <string_view>
#include <utility>

#include "Platform/Text/Text.h"
#include "serve/Gzip.h"

namespace kiv::tool {
namespace {

/// Whether the header declares a JSON body. A page of another site cannot make a browser on this machine send
/// this type, because the browser first asks the service, which permits it to no site that it was not told
/// of.
bool isJsonType(std::string_view contentType) {
    std::string type = lowercasedAscii(contentType.substr(0, contentType.find(';')));
    std::erase(type, ' ');
    return type == "application/json";
}

} // namespace

json::object bodyObject(HttpCall& call, std::uint64_t maxBytes, std::size_t mostValues) {
    if (!isJsonType(call.contentType)) {
        throw Refusal{415, "the body is to be sent as \"Content-Type: application/json\""};
    }
    if (call.contentEncoding == "gzip") {
        auto unpacked = gunzip(call.body, maxBytes);
        if (!unpacked) {
            throw Refusal{400, "the body is damaged, or larger than it may be when it is unpacked"};
        }
        call.body = std::move(*unpacked);
    } else if (!call.contentEncoding.empty() && call.contentEncoding != "identity") {
        throw Refusal{415, "the body may be sent as it is or as gzip, but in no other encoding"};
    }
    std::string problem;
    auto document = parseJson(call.body, &problem, {}, mostValues);
    if (!document || !document->is_object()) {
        throw Refusal{400, document ? "the body is no JSON object" : "the body is no JSON: " + problem};
    }
    return std::move(document->get_object());
}

} // namespace kiv::tool
