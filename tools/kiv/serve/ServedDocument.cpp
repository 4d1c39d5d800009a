#include "serve/ServedDocument.h"

#include "Model/KIVJSONKeys.h"
#include "Platform/Crypto/Digest.h"

namespace kiv::tool {
namespace {

/// A member of the envelope that is a text; empty when there is no envelope.
std::string memberOf(const Envelope& envelope, const char* name) {
    const auto parsed = envelope ? parseJson(*envelope) : std::nullopt;
    const json::string* text = parsed ? textMember(*parsed, name) : nullptr;
    return text ? std::string(*text) : std::string();
}

} // namespace

json::object ServedDocument::payload() const {
    const auto parsed = parseJson(memberOf(envelope, KIVC_JSON_data));
    return parsed && parsed->is_object() ? parsed->get_object() : json::object();
}

std::string ServedDocument::date() const { return memberOf(envelope, KIVC_JSON_data_signedDate); }

std::map<std::string, std::string> deciderDigests(const json::object& payload) {
    std::map<std::string, std::string> digests;
    for (const auto& [flag, index] : deciders(payload)) {
        digests.emplace(flag, md5Hex(compactJson(experimentsOf(payload).at(index))));
    }
    return digests;
}

} // namespace kiv::tool
