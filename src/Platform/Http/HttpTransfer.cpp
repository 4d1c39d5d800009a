#include "Platform/Http/HttpTransfer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <sys/socket.h>

#include "Platform/Http/HttpHandle.h"
#include "Platform/Text/Text.h"
#include "Platform/Threads/LibraryThread.h"

namespace kiv {
namespace {

/// A POST goes over a kept connection only when it has been idle for at most this long, in seconds. Servers
/// close idle connections, many after five seconds, and a POST that meets the end of its connection fails.
constexpr long longestIdleBeforePost = 4;

constexpr std::size_t headersLimit = 256U << 10;

TransportError error(long code, std::string description) {
    return {std::string(urlErrorDomain), code, std::move(description)};
}

/// The instant `seconds` after `start`. Nullopt when there is no limit: `seconds` is zero or less, or longer
/// than a process lives.
std::optional<HttpTransfer::Instant> after(HttpTransfer::Instant start, double seconds) {
    using Duration = HttpTransfer::Instant::duration;
    constexpr double longest = 1e9;
    return seconds > 0 && seconds <= longest
               ? std::optional(start + std::chrono::ceil<Duration>(std::chrono::duration<double>(seconds)))
               : std::nullopt;
}

} // namespace

HttpTransfer::HttpTransfer(HttpRequest request, HttpSink sink, HostLookups& lookups,
                           std::function<void()> wake)
    : request_(std::move(request)), sink_(std::move(sink)), lookups_(lookups), wake_(std::move(wake)) {}

void HttpTransfer::cancel() {
    if (!cancelled_.exchange(true)) {
        wake_();
    }
}

CURL* HttpTransfer::prepare() {
    handle_.reset(curl_easy_init());
    if (!handle_) {
        failure_ = error(TransportError::unknown, "Out of memory");
    } else if (request_.url.find('\0') != std::string::npos) {
        failure_ = error(TransportError::badURL, "The URL holds a null character");
    } else if (!addHeaders()) {
        failure_ = error(TransportError::unknown, "A header field holds a line break or a null character");
    }
    if (failure_) {
        return nullptr;
    }
    configureMethod();
    proxy_ =
        configureConnection(handle_.get(), stream() ? std::nullopt : std::optional(request_.mostBodyBytes));
    configureCallbacks();
    touch();
    begun_ = lastActivity_;
    return handle_.get();
}

bool HttpTransfer::addHeader(const std::string& line) {
    if (line.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos) {
        return false;
    }
    curl_slist* longer = curl_slist_append(headers_.get(), line.c_str());
    if (longer) {
        headers_.release();
        headers_.reset(longer);
    }
    return longer;
}

bool HttpTransfer::addHeaders() {
    for (const auto& [name, value] : request_.headers) {
        if (redirects_ > 0 && isCredential(name)) {
            continue;
        }
        // With the semicolon libcurl sends the field with an empty value.
        if (!addHeader(value.empty() ? name + ";" : name + ": " + value)) {
            return false;
        }
    }
    if (request_.ignoresCaches && !(addHeader("Cache-Control: no-cache") && addHeader("Pragma: no-cache"))) {
        return false;
    }
    return addHeader("Expect:"); // sends a body at once, without waiting for "100 Continue"
}

void HttpTransfer::configureMethod() {
    CURL* handle = handle_.get();
    curl_easy_setopt(handle, CURLOPT_URL, request_.url.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers_.get());
    const std::string& method = request_.method;
    if (method == "HEAD") {
        curl_easy_setopt(handle, CURLOPT_NOBODY, 1L);
        return;
    }
    if (isPost()) {
        curl_easy_setopt(handle, CURLOPT_MAXAGE_CONN, longestIdleBeforePost);
    }
    if (isPost() || !request_.body.empty()) {
        curl_easy_setopt(handle, CURLOPT_POST, 1L);
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request_.body.data());
    }
    // libcurl keeps a method that is set as a text through redirects. POST is not set as a text, so
    // that redirects turn it into a GET.
    if (!isPost() && (method != "GET" || !request_.body.empty())) {
        curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, method.c_str());
    }
}

void HttpTransfer::configureCallbacks() {
    CURL* handle = handle_.get();
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, message_.data());
    curl_easy_setopt(handle, CURLOPT_RESOLVER_START_FUNCTION, onLookup);
    curl_easy_setopt(handle, CURLOPT_RESOLVER_START_DATA, this);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, onSocket);
    curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, onProgress);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, this);
    curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, onConnected);
    curl_easy_setopt(handle, CURLOPT_PREREQDATA, this);
}

std::size_t HttpTransfer::onHeader(char* bytes, std::size_t, std::size_t size, void* self) noexcept {
    auto& own = *static_cast<HttpTransfer*>(self);
    own.touch();
    own.isUnanswered_ = false;
    own.headerBytes_ += size;
    if (own.headerBytes_ > headersLimit) {
        own.tooLarge();
        return 0;
    }
    try {
        own.readHeader({bytes, size});
        return size;
    } catch (...) {
        return 0;
    }
}

std::size_t HttpTransfer::onBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept {
    try {
        return static_cast<HttpTransfer*>(self)->readBody({bytes, size}) ? size : CURL_WRITEFUNC_ERROR;
    } catch (...) {
        return CURL_WRITEFUNC_ERROR;
    }
}

int HttpTransfer::onProgress(void* self, curl_off_t, curl_off_t received, curl_off_t,
                             curl_off_t sent) noexcept {
    haltIfProcessEnds(); // libcurl may go through many transfers before it returns
    auto& own = *static_cast<HttpTransfer*>(self);
    if (own.moved_ != received + sent) {
        own.moved_ = received + sent;
        own.touch();
    }
    return 0;
}

int HttpTransfer::onLookup(void*, void*, void* self) noexcept {
    auto& own = *static_cast<HttpTransfer*>(self);
    try {
        own.wasRefused_ = !own.mayLookUp();
        return own.wasRefused_ ? 1 : 0;
    } catch (...) {
        return 1;
    }
}

curl_socket_t HttpTransfer::onSocket(void* self, curlsocktype, curl_sockaddr* address) noexcept {
    auto& own = *static_cast<HttpTransfer*>(self);
    own.lookups_.end(self);
    if (own.completed_) {
        return CURL_SOCKET_BAD;
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - own.begun_;
    curl_easy_setopt(own.handle_.get(), CURLOPT_CONNECTTIMEOUT,
                     static_cast<long>(taken.count()) + connectLimit);
    // Programs that the application starts do not inherit the socket.
    return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

int HttpTransfer::onConnected(void* self, char*, char*, int, int) noexcept {
    auto& own = *static_cast<HttpTransfer*>(self);
    own.lookups_.end(self);
    if (own.completed_) {
        return CURL_PREREQFUNC_ABORT;
    }
    own.touch();
    // libcurl repeats a request whose kept connection has broken.
    if (std::exchange(own.isUnanswered_, true) && own.isPost()) {
        own.isLost_ = true;
        return CURL_PREREQFUNC_ABORT;
    }
    // From an https URL redirects may only lead to https.
    const char* scheme = nullptr;
    if (curl_easy_getinfo(own.handle_.get(), CURLINFO_SCHEME, &scheme) == CURLE_OK && scheme &&
        curl_strequal(scheme, "https")) {
        curl_easy_setopt(own.handle_.get(), CURLOPT_REDIR_PROTOCOLS_STR, "https");
    }
    return CURL_PREREQFUNC_OK;
}

bool HttpTransfer::mayLookUp() {
    if (completed_) {
        return false;
    }
    if (std::exchange(lookupFree_, false)) {
        return true;
    }
    if (!lookups_.begin(this, hostOfUrl(currentUrl()))) {
        return false;
    }
    curl_easy_setopt(handle_.get(), CURLOPT_CONNECTTIMEOUT, lookupLimit);
    return true;
}

HttpTransfer::Ending HttpTransfer::endingOf(CURLcode result) {
    lookups_.end(this);
    if (completed_ || !std::exchange(wasRefused_, false)) {
        return Ending::final;
    }
    // What was to be looked up is known only now: libcurl tells proxies from hosts by its result.
    const std::string url = currentUrl();
    const std::string proxy = proxy_.empty() ? proxyOfEnvironment(url) : proxy_;
    lookupFree_ = needsNoLookup(hostOfUrl(result == CURLE_COULDNT_RESOLVE_PROXY ? proxy : url));
    message_[0] = '\0';
    long redirects = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_REDIRECT_COUNT, &redirects);
    if (redirects > 0 && !continueAt(url, redirects)) {
        return Ending::final;
    }
    return lookupFree_ ? Ending::again : Ending::postponed;
}

/// Has libcurl begin next where the last redirect has led to, because the servers before may have acted on
/// the request. False when there is no memory.
bool HttpTransfer::continueAt(const std::string& url, long redirects) {
    CURL* handle = handle_.get();
    redirects_ += redirects;
    const char* method = nullptr;
    curl_easy_getinfo(handle, CURLINFO_EFFECTIVE_METHOD, &method);
    if (request_.method == "POST" && method && std::string_view(method) == "GET") {
        curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
    }
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, mostRedirects - redirects_);
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, nullptr);
    headers_.reset();
    if (curl_easy_setopt(handle, CURLOPT_URL, url.c_str()) != CURLE_OK || !addHeaders()) {
        return false;
    }
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers_.get());
    return true;
}

/// The URL of the request, or that of the last redirect.
std::string HttpTransfer::currentUrl() const {
    const char* url = nullptr;
    curl_easy_getinfo(handle_.get(), CURLINFO_EFFECTIVE_URL, &url);
    return url ? url : request_.url;
}

void HttpTransfer::readHeader(std::string_view line) {
    if (line.starts_with("HTTP/")) { // another response begins, after a redirect or an interim response
        response_.headers.clear();
        isHeadWhole_ = false;
        return;
    }
    line = trimmed(line);
    if (line.empty()) {
        endHeaders();
        return;
    }
    if (const std::size_t colon = line.find(':'); colon != std::string_view::npos) {
        response_.headers.emplace_back(lowercasedAscii(trimmed(line.substr(0, colon))),
                                       trimmed(line.substr(colon + 1)));
    }
}

void HttpTransfer::endHeaders() {
    isHeadWhole_ = true;
    long status = 0;
    curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    const bool follows = status >= 300 && status < 400 &&
                         std::any_of(response_.headers.begin(), response_.headers.end(),
                                     [](const auto& header) { return header.first == "location"; });
    if (status < 200 || follows || response_.status != 0) {
        return; // another response follows, or the headers were trailers
    }
    response_.status = static_cast<int>(status);
    if (stream() && stream()->responded && !isCancelled()) {
        stream()->responded(response_.status);
    }
}

bool HttpTransfer::readBody(std::string_view bytes) {
    touch();
    if (isCancelled()) {
        return false;
    }
    if (stream()) {
        if (stream()->received) {
            stream()->received(bytes);
        }
        return true;
    }
    std::string& body = response_.body;
    if (bytes.size() > request_.mostBodyBytes - body.size()) {
        return tooLarge();
    }
    constexpr std::size_t small = 1U << 20;
    if (body.size() > small && body.capacity() < request_.mostBodyBytes) {
        body.reserve(request_.mostBodyBytes); // memory that is not written to costs nothing; growing copies
    }
    body.append(bytes);
    return true;
}

bool HttpTransfer::tooLarge() {
    failure_ = error(TransportError::tooLarge, "The response is too large");
    return false;
}

std::optional<HttpTransfer::Instant> HttpTransfer::deadline() const {
    const auto idle = after(lastActivity_, request_.idleTimeout);
    const auto total = after(begun_, request_.totalTimeout);
    return idle && total ? std::min(idle, total) : idle ? idle : total;
}

std::optional<TransportError> HttpTransfer::errorOf(CURLcode result) const {
    if (!failure_ && result == CURLE_OK && !isHeadWhole_) { // no error for libcurl
        return error(TransportError::connectionLost, "The response ended within its head");
    }
    if (failure_ || result == CURLE_OK) {
        return failure_;
    }
    if (isLost_) {
        return error(TransportError::connectionLost, "The connection was lost before an answer came");
    }
    return error(transportCodeOf(result), message_[0] != '\0' ? message_.data() : curl_easy_strerror(result));
}

void HttpTransfer::lookupEnded() {
    lookups_.end(this);
    freeHandle();
}

void HttpTransfer::complete(std::optional<TransportError> failure) {
    if (isCancelled()) {
        failure = error(TransportError::cancelled, "The request was cancelled");
    }
    if (handle_ && response_.status == 0) {
        long status = 0;
        curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
        response_.status = static_cast<int>(status);
    }
    const char* method = nullptr;
    if (handle_ && curl_easy_getinfo(handle_.get(), CURLINFO_EFFECTIVE_METHOD, &method) == CURLE_OK &&
        method) {
        response_.method = method;
    }
    completed_ = true;
    if (!isLookingUp()) {
        freeHandle();
    }
    if (failure) {
        response_.body = {};
    }
    response_.error = std::move(failure);
    const HttpSink sink = std::exchange(sink_, {});
    try {
        if (const auto* handlers = std::get_if<HttpStreamHandlers>(&sink)) {
            if (handlers->completed) {
                handlers->completed(response_.error);
            }
        } else if (const auto& completion = std::get<0>(sink)) {
            completion(std::move(response_));
        }
    } catch (...) {
        // A handler's exception does not stop the other requests.
    }
}

} // namespace kiv
