#include "Network/KIVNetwork.h"

#include <array>
#include <utility>

#include <boost/json/monotonic_resource.hpp>

#include "Model/KIVJSONKeys.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVVendorJSONSerializationNullRemover.h"

namespace {

/// A payload and the memory that all its values stand in, which is given back as one.
struct Payload {
    explicit Payload(std::size_t bytesOfText) : memory(bytesOfText) {}

    kiv::json::monotonic_resource memory;
    std::optional<kiv::json::value> document;
};

/// Null when the text is no JSON object; `details` then says why.
KIVConfigurationDataResult::Document parsePayload(std::string_view text, std::string& details) {
    auto payload = std::make_shared<Payload>(text.size());
    payload->document = KIVVendorJSONSerializationNullRemover::JSONObjectWithData(text, &details, true, false,
                                                                                  &payload->memory);
    if (!payload->document) {
        return nullptr;
    }
    if (!payload->document->is_object()) {
        details = "the payload is no object";
        return nullptr;
    }
    return {payload, &*payload->document};
}

} // namespace

KIVNetwork::KIVNetwork(std::shared_ptr<const KIVClientOptions> clientOptions)
    : signatureChecker_(clientOptions),
      isSignatureCheckDisabled_(clientOptions->disableSignatureVerification) {}

KIVConfigurationDataResult::Document KIVNetwork::extractInnerJson(const kiv::json::value& envelope,
                                                                  std::string_view url,
                                                                  KIVNetworkError* error) const {
    const auto* data = kiv::textMember(envelope, KIVC_JSON_data);
    const auto* signature = kiv::textMember(envelope, KIVC_JSON_signature);
    const std::string_view bytes = data ? std::string_view(*data) : std::string_view();
    const auto signatureText = signature ? std::optional<std::string_view>(*signature) : std::nullopt;

    KIVNetworkError failure = KIVNetworkError::none;
    std::string details;
    if (!isSignatureCheckDisabled_ && !signatureChecker_.verifySigningOf(bytes, signatureText)) {
        failure = KIVNetworkError::signatureWasNotVerified;
        details =
            signature ? "the signature is not one of this payload by the certificate's key" : "no signature";
    } else if (auto payload = parsePayload(bytes, details)) {
        return payload;
    } else {
        failure = KIVNetworkError::jsonParsing;
    }
    KIV_DEBUG_LOG("json=nil, url=%@, networkError=%d (%@) %@", url, static_cast<int>(failure),
                  networkErrorString(failure).value_or(""), details);
    reportNetworkError(failure, url, details);
    if (error) {
        *error = failure;
    }
    return nullptr;
}

std::optional<std::string> KIVNetwork::networkErrorString(KIVNetworkError error) {
    constexpr std::array names = {KIVNetwork_404,
                                  KIVNetwork_unknownError,
                                  KIVNetwork_timeout,
                                  KIVNetwork_jsonParsing,
                                  KIVNetwork_signatureWasNotVerified,
                                  KIVNetwork_emptyResult};
    const auto index = static_cast<std::size_t>(static_cast<int>(error)) - 1;
    return index < names.size() ? std::optional<std::string>(names[index]) : std::nullopt;
}

void KIVNetwork::reportNetworkError(KIVNetworkError, std::string_view, std::string_view) const {}
