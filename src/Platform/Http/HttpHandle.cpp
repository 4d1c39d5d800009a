#include "Platform/Http/HttpHandle.h"

#include <kiv/KIVHost.h>

#include "Platform/Http/HttpClient.h"
#include "Platform/Text/Text.h"

namespace kiv {

bool isCredential(std::string_view header) {
    const std::string name = lowercasedAscii(header);
    return name == "authorization" || name == "cookie";
}

std::string configureConnection(CURL* handle, std::optional<std::size_t> bodyLimit) {
    const auto host = KIVHost::current();
    if (host->caFile) {
        curl_easy_setopt(handle, CURLOPT_CAINFO, host->caFile->c_str());
        curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
    }
    if (host->proxy) {
        curl_easy_setopt(handle, CURLOPT_PROXY, host->proxy->c_str());
        curl_easy_setopt(handle, CURLOPT_NOPROXY, "");
    }
    curl_easy_setopt(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https"); // see onConnected
    curl_easy_setopt(handle, CURLOPT_DEFAULT_PROTOCOL, "none");          // refuses a URL without a scheme
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, mostRedirects);
    curl_easy_setopt(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L); // does not wait for a slow name server to end a request
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPIDLE, 60L);
    curl_easy_setopt(handle, CURLOPT_TCP_KEEPINTVL, 30L);
    if (bodyLimit) { // a server that compresses a stream holds events back until a block is full
        curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "");
        curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(*bodyLimit));
    }
    return host->proxy.value_or("");
}

long transportCodeOf(CURLcode result) {
    switch (result) {
    case CURLE_URL_MALFORMAT:
        return TransportError::badURL;
    case CURLE_UNSUPPORTED_PROTOCOL:
        return TransportError::unsupportedURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return TransportError::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
        return TransportError::cannotConnectToHost;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return TransportError::connectionLost;
    case CURLE_OPERATION_TIMEDOUT:
        return TransportError::timedOut;
    case CURLE_TOO_MANY_REDIRECTS:
        return TransportError::tooManyRedirects;
    case CURLE_WEIRD_SERVER_REPLY:
        return TransportError::badServerResponse;
    case CURLE_BAD_CONTENT_ENCODING:
        return TransportError::cannotDecode;
    case CURLE_FILESIZE_EXCEEDED:
        return TransportError::tooLarge;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_ISSUER_ERROR:
        return TransportError::certificateUntrusted;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_USE_SSL_FAILED:
        return TransportError::secureConnectionFailed;
    default:
        return TransportError::unknown;
    }
}

} // namespace kiv
