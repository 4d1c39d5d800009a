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
    notFound = 1, ///< HTTP 404 or 403, or a body whose "result" is 404
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
/// No error uses this name.
inline constexpr const char* KIVNetwork_exceptionInsideAsyncNetworkRequest =
    "KIVNetwork_exceptionInsideAsyncNetworkRequest";

/// Sends requests to the services, and verifies and parses configuration documents. Callable from any thread.
class KIVNetwork : public std::enable_shared_from_this<KIVNetwork> {
public:
    /// `json` is the answer, an object without nulls. On failure it is null, and `error` says why.
    using JsonCompletion =
        std::function<void(const KIVConfigurationDataResult::Document& json, KIVNetworkError error)>;

    /// The constructor reads from `clientOptions` whether to check signatures; each check reads the
    /// certificate. Neither pointer may be null.
    KIVNetwork(std::shared_ptr<const KIVClientOptions> clientOptions,
               std::shared_ptr<const KIVURLSession> urlSession);
    virtual ~KIVNetwork() = default;
    KIVNetwork(const KIVNetwork&) = delete;
    KIVNetwork& operator=(const KIVNetwork&) = delete;

    /// Performs a request and classifies its outcome: HTTP 404, HTTP 403 and a body whose "result" is 404 are
    /// `notFound`; no other status is an error. `timeout` is the idle limit in seconds; 0 stands for
    /// `KIVNetworkUtils_defaultRequestTimeout`. Returns at once. The completion is called once, on the
    /// session's queue; it is not called when no body can be made of the parameters, and once the session is
    /// invalid. The debug log reports an exception that it throws. With `doNotReport404`,
    /// `reportNetworkError` is not called for `notFound`. With `useDefaultCachePolicy`, caches on the way may
    /// answer.
    void getJsonFromURL(const KIVHttpRequestData& requestData, double timeout,
                        JsonCompletion completionHandler, bool doNotReport404,
                        bool useDefaultCachePolicy) const;

    /// Cancels the requests under way, without calling their completions, and starts no further ones.
    void stop() { urlSession_->invalidateAndCancel(); }
    bool isStopped() const { return urlSession_->isInvalid(); }

    /// The payload of an envelope, an object without nulls. Verifies the envelope's signature first, unless
    /// the options disable that. Null on failure: `error`, when given, is then `signatureWasNotVerified` or,
    /// for a payload that is missing or no JSON object, `jsonParsing`. The log names `url` as the envelope's
    /// origin.
    KIVConfigurationDataResult::Document extractInnerJson(const kiv::json::value& envelope,
                                                          std::string_view url, KIVNetworkError* error) const;

    /// The error's name; nullopt for `none` and for numbers that are no error.
    static std::optional<std::string> networkErrorString(KIVNetworkError error);

    /// Called for every failure, on the thread where it happened. Does nothing here; a subclass may override
    /// it.
    virtual void reportNetworkError(KIVNetworkError error, std::string_view url,
                                    std::string_view details) const;

    const KIVURLSession& urlSession() const { return *urlSession_; }

private:
    KIVConfigurationDataResult::Document answerOf(std::string_view url, kiv::HttpResponse response,
                                                  bool doNotReport404, KIVNetworkError& error) const;

    const KIVSignatureChecker signatureChecker_;
    const bool isSignatureCheckDisabled_;
    const std::shared_ptr<const KIVURLSession> urlSession_;
};
