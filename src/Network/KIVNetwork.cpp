#include "Network/KIVNetwork.h"

#include <array>
#include <utility>

#include <boost/json/monotonic_resource.hpp>

#include "KivxLanguage/Values/KivxNumbers.h"
#include "Model/KIVJSONKeys.h"
#include "Network/KIVNetworkUtils.h"
#include "Platform/Text/Text.h"
#include "Runtime/Failure.h"
#include "Runtime/KIVDebugger.h"
#include "Runtime/KIVVendorJSONSerializationNullRemover.h"

namespace {

/// A parsed payload and the memory of all its values, which is released in one piece.
struct Payload {
    explicit Payload(std::size_t bytesOfText) : memory(bytesOfText) {}

    kiv::json::monotonic_resource memory;
    std::optional<kiv::json::value> document;
};

/// Null when the text is no JSON object; `details` then says why.
KIVConfigurationDataResult::Document parsePayload(std::string_view text, std::string& details) {
    auto payload = std::make_shared<Payload>(text.size());
    payload->document = KIVVendorJSONSerializationNullRemover::JSONObjectWithData(
        text, &details, true, false, &payload->memory, kiv::mostPayloadValues);
    if (!payload->document) {
        return nullptr;
    }
    if (!payload->document->is_object()) {
        details = "the payload is no object";
        return nullptr;
    }
    return {payload, &*payload->document};
}

/// The parameters as JSON text; nullopt when a number among them is not finite.
std::optional<std::string> transferParamsToJsonStream(const kiv::json::object& parameters) {
    if (!kiv::isJson(parameters)) {
        KIV_DEBUG_LOG("Error processing request parameters");
        return std::nullopt;
    }
    return kiv::prettyJson(parameters);
}

/// The request; nullopt when no body can be made of the parameters.
std::optional<kiv::HttpRequest> requestOf(const KIVHttpRequestData& data, double timeout,
                                          bool useDefaultCachePolicy) {
    kiv::HttpRequest request{
        .method = data.method,
        .url = data.url,
        .idleTimeout = timeout == 0 ? KIVNetworkUtils_defaultRequestTimeout : timeout,
        .mostBodyBytes = data.mostAnswerBytes,
        .ignoresCaches = !useDefaultCachePolicy,
    };
    if (!data.parameters) {
        return request;
    }
    if (data.method == "GET") {
        request.url = KIVNetworkUtils::generateUrlWithParams(data.url, *data.parameters);
        return request;
    }
    auto body = transferParamsToJsonStream(*data.parameters);
    if (!body) {
        KIV_DEBUG_LOG("Could not process post request body for request");
        return std::nullopt;
    }
    request.headers.emplace_back("Content-Type", "application/json");
    request.body = std::move(*body);
    return request;
}

KIVNetworkError errorOf(const kiv::HttpResponse& response, std::string& details) {
    KIVNetworkError error = KIVNetworkError::none;
    if (const auto& failure = response.error) {
        const bool timedOut =
            failure->domain == kiv::urlErrorDomain && failure->code == kiv::TransportError::timedOut;
        error = timedOut ? KIVNetworkError::timeout : KIVNetworkError::unknown;
        if (!timedOut) {
            details = kiv::format("domain: \"%@\", code: \"%ld\"", failure->domain, failure->code);
        }
    }
    return response.status == 404 || response.status == 403 ? KIVNetworkError::notFound : error;
}

/// Whether the member "result" reads as the integer 404.
bool saysNotFound(const kiv::json::value& json) {
    const kiv::json::value* result = kiv::member(json, "result");
    if (!result) {
        return false;
    }
    if (const auto* text = result->if_string()) {
        return kiv::readInteger(*text) == 404;
    }
    const auto* real = result->if_double();
    return real ? kiv::saturated(*real) == 404 : kiv::equalJson(*result, kiv::json::value(404));
}

/// The answer's body. Null when it is empty, is no JSON object or says "not found"; `error` and `details`
/// then say why.
KIVConfigurationDataResult::Document parseAnswer(kiv::HttpResponse response, KIVNetworkError& error,
                                                 std::string& details) {
    if (response.body.empty()) {
        error = KIVNetworkError::emptyResult;
        details = kiv::format("httpResponse.statusCode: %ld", response.status);
        return nullptr;
    }
    auto json = KIVVendorJSONSerializationNullRemover::JSONObjectWithData(response.body, &details, true,
                                                                          false, {}, kiv::mostEnvelopeValues);
    response.body = {}; // releases the text before the payload is parsed
    if (json && !json->is_object()) {
        details = "the answer is no object";
        json.reset();
    }
    if (!json) {
        error = KIVNetworkError::jsonParsing;
        return nullptr;
    }
    KIV_DEBUG_LOG("json=%@", kiv::compactJson(*json));
    if (saysNotFound(*json)) {
        error = KIVNetworkError::notFound;
        return nullptr;
    }
    return std::make_shared<const kiv::json::value>(std::move(*json));
}

} // namespace

KIVNetwork::KIVNetwork(std::shared_ptr<const KIVClientOptions> clientOptions,
                       std::shared_ptr<const KIVURLSession> urlSession)
    : signatureChecker_(clientOptions),
      isSignatureCheckDisabled_(clientOptions->disableSignatureVerification),
      urlSession_(std::move(urlSession)) {}

void KIVNetwork::getJsonFromURL(const KIVHttpRequestData& requestData, double timeout,
                                JsonCompletion completionHandler, bool doNotReport404,
                                bool useDefaultCachePolicy) const {
    KIV_DEBUG_LOG("url=%@", requestData.url);
    auto request = requestOf(requestData, timeout, useDefaultCachePolicy);
    if (!request) {
        return;
    }
    urlSession_->sendRequestWrapper(
        std::move(*request), [self = shared_from_this(), url = requestData.url, doNotReport404,
                              completionHandler = std::move(completionHandler)](kiv::HttpResponse response) {
            KIVNetworkError error = KIVNetworkError::none;
            KIVConfigurationDataResult::Document json;
            const auto misread = kiv::failureOf(
                [&] { json = self->answerOf(url, std::move(response), doNotReport404, error); });
            if (misread) { // no memory
                error = KIVNetworkError::unknown;
                KIV_DEBUG_LOG("url=%@ could not be read: %@", url, misread->what());
            }
            if (const auto failure = kiv::failureOf([&] { completionHandler(json, error); })) {
                KIV_DEBUG_LOG("Error: urlConnectionCompetionHandler threw an exception: %@", failure->what());
            }
        });
}

KIVConfigurationDataResult::Document KIVNetwork::answerOf(std::string_view url, kiv::HttpResponse response,
                                                          bool doNotReport404, KIVNetworkError& error) const {
    KIV_DEBUG_LOG("response=%@,  data=%@, error=%@", response.status,
                  kiv::format("%@ bytes", response.body.size()),
                  response.error ? response.error->description : "(null)");
    std::string details;
    error = errorOf(response, details);
    KIVConfigurationDataResult::Document json;
    if (error == KIVNetworkError::none) {
        json = parseAnswer(std::move(response), error, details);
    }
    if (!json) {
        if (error != KIVNetworkError::notFound || !doNotReport404) {
            reportNetworkError(error, url, details);
        }
        KIV_DEBUG_LOG("json=nil, networkError=%d (%@)", static_cast<int>(error),
                      networkErrorString(error).value_or(""));
    }
    return json;
}

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
