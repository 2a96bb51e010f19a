#include "core/macros/OllamaClient.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>
#include <mutex>

#include "core/macros/AIServiceError.h"

namespace wordloom {
namespace {

void initialiseCurlOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

struct EasyDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// Caps what a misbehaving local server can make us hold.
constexpr std::size_t kMaxResponseBytes = 16 * 1024 * 1024;

struct Exchange {
    const OllamaClientOptions* options;
    std::string body;
    bool tooLarge = false;
};

std::size_t collect(char* data, std::size_t size, std::size_t count, void* exchange) {
    auto& into = *static_cast<Exchange*>(exchange);
    const std::size_t bytes = size * count;
    if (into.body.size() + bytes > kMaxResponseBytes) {
        into.tooLarge = true;
        return 0;
    }
    into.body.append(data, bytes);
    return bytes;
}

bool isLoopback(const curl_sockaddr* address) {
    if (address->family == AF_INET) {
        const auto* ipv4 = reinterpret_cast<const sockaddr_in*>(&address->addr);
        return (ntohl(ipv4->sin_addr.s_addr) >> 24) == 127;
    }
    if (address->family == AF_INET6) {
        const auto* ipv6 = reinterpret_cast<const sockaddr_in6*>(&address->addr);
        return IN6_IS_ADDR_LOOPBACK(&ipv6->sin6_addr);
    }
    return false;
}

curl_socket_t openSocket(void* exchange, curlsocktype, curl_sockaddr* address) {
    const auto& options = *static_cast<Exchange*>(exchange)->options;
    if (!isLoopback(address)) {
        return CURL_SOCKET_BAD;  // the privacy guard's second line: names must stay local
    }
    if (options.onSocketOpen) {
        options.onSocketOpen();
    }
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

}  // namespace

OllamaClient::OllamaClient(OllamaClientOptions options) : options_(std::move(options)) {
    initialiseCurlOnce();
}

std::string OllamaClient::generate(const OllamaEndpoint& endpoint,
                                   const OllamaGenerateRequest& request) const {
    std::unique_ptr<CURL, EasyDeleter> handle(curl_easy_init());
    if (!handle) {
        throw AIServiceError::ollamaConnectionFailed("cannot create an HTTP request");
    }
    CURL* curl = handle.get();
    const std::string body = request.toJSON();
    std::unique_ptr<curl_slist, ListDeleter> headers(
        curl_slist_append(nullptr, "Content-Type: application/json"));
    Exchange exchange{&options_, {}};
    char errorText[CURL_ERROR_SIZE] = {};

    curl_easy_setopt(curl, CURLOPT_URL, endpoint.generateURL.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(options_.totalTimeout.count()));
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(options_.totalTimeout.count()));
    // "Silent for idleTimeout" = fewer than 1 byte per second for that long.
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME,
                     std::max(1L, static_cast<long>(options_.idleTimeout.count() / 1000)));
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &exchange);
    curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, openSocket);
    curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, &exchange);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorText);

    const CURLcode code = curl_easy_perform(curl);
    if (code != CURLE_OK) {
        if (exchange.tooLarge) {
            throw AIServiceError::ollamaConnectionFailed("the response is larger than 16 MB");
        }
        const std::string reason = errorText[0] != '\0' ? errorText : curl_easy_strerror(code);
        throw AIServiceError::ollamaConnectionFailed(reason);
    }
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200 || status > 299) {
        throw AIServiceError::ollamaHTTPError(status, exchange.body);
    }
    OllamaGenerateResponse response = OllamaGenerateResponse::decode(exchange.body);
    if (response.error) {
        // The server answered, so this is its verdict rather than a connection problem.
        throw AIServiceError::ollamaHTTPError(status, *response.error);
    }
    return response.response.value_or("");
}

}  // namespace wordloom
