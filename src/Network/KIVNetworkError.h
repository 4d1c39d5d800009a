#pragma once

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
