#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Model/KIVConfigurationDataResult.h"
#include "Network/KIVClientOptions.h"
#include "Network/KIVHttpRequestData.h"
#include "Network/KIVSignatureChecker.h"
#include "Network/KIVURLSession.h"
#include "Platform/Text/Json.h"

/// How a request, or the reading of a document, can fail.
enum class KIVNetworkError : int {
    none = 0,
    notFound = 1, ///< HTTP 404 or 403, or a body that says so
    unknown = 2,  ///< the transport failed
    timeout = 3,
    jsonParsing = 4,
    signatureWasNotVerified = 5,
    emptyResult = 6,
};

inline constexpr const char* KIVNetwork_404 = "KIVNetwork_404";
inline constexpr const char* KIVNetwork_unknownError = "KIVNetwork_unknownError";
inline constexpr const char* KIVNetwork_timeout = "KIVNetwork_timeout";
inline constexpr const char* KIVNetwork_jsonParsing = "KIVNetwork_jsonParsing";
inline constexpr const char* KIVNetwork_signatureWasNotVerified = "KIVNetwork_signatureWasNotVerified";
inline constexpr const char* KIVNetwork_emptyResult = "KIVNetwork_emptyResult";
/// A name only: no error has it.
inline constexpr const char* KIVNetwork_exceptionInsideAsyncNetworkRequest =
    "KIVNetwork_exceptionInsideAsyncNetworkRequest";

/// Asks the services, and reads what the configuration service sent. Callable from any thread.
class KIVNetwork : public std::enable_shared_from_this<KIVNetwork> {
public:
    /// The answer, an object without nulls, or null and what went wrong.
    using JsonCompletion =
        std::function<void(const KIVConfigurationDataResult::Document& json, KIVNetworkError error)>;

    /// Whether signatures are checked at all is read from the options here; the certificate when it is
    /// needed. Neither pointer may be null.
    KIVNetwork(std::shared_ptr<const KIVClientOptions> clientOptions,
               std::shared_ptr<const KIVURLSession> urlSession);
    virtual ~KIVNetwork() = default;
    KIVNetwork(const KIVNetwork&) = delete;
    KIVNetwork& operator=(const KIVNetwork&) = delete;

    /// Performs a request and classifies its outcome: HTTP 404 and 403, and a body whose "result" is 404, are
    /// `notFound`; no other status is an error. `timeout` is how many seconds may pass without a byte; 0
    /// stands for 60. Returns at once; the completion is called once, on the session's queue, and not at all
    /// when no body can be made of the parameters. What it throws is logged. `doNotReport404` keeps
    /// `notFound` from `reportNetworkError`; `useDefaultCachePolicy` lets caches on the way answer.
    void getJsonFromURL(const KIVHttpRequestData& requestData, double timeout,
                        JsonCompletion completionHandler, bool doNotReport404,
                        bool useDefaultCachePolicy) const;

    /// From now on no request starts, and the answers that are under way are dropped.
    void stop() { urlSession_->invalidateAndCancel(); }
    bool isStopped() const { return urlSession_->isInvalid(); }

    /// The payload of an envelope, an object without nulls, once its signature has been verified. Null on
    /// failure: `error`, when given, is then `signatureWasNotVerified` or, for a payload that is missing or
    /// no JSON object, `jsonParsing`. `url` says in the log where the envelope came from.
    KIVConfigurationDataResult::Document extractInnerJson(const kiv::json::value& envelope,
                                                          std::string_view url, KIVNetworkError* error) const;

    /// The error's name; nothing for `none` and for numbers that are no error.
    static std::optional<std::string> networkErrorString(KIVNetworkError error);

    /// Called for every failure, on the thread that met it. Does nothing.
    virtual void reportNetworkError(KIVNetworkError error, std::string_view url,
                                    std::string_view details) const;

    const KIVURLSession& urlSession() const { return *urlSession_; }

private:
    KIVConfigurationDataResult::Document answerOf(std::string_view url, const kiv::HttpResponse& response,
                                                  bool doNotReport404, KIVNetworkError& error) const;

    const KIVSignatureChecker signatureChecker_;
    const bool isSignatureCheckDisabled_;
    const std::shared_ptr<const KIVURLSession> urlSession_;
};
