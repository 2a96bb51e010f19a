#include "core/macros/OllamaClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>

#include "core/macros/AIServiceError.h"
#include "core/macros/CurlLibrary.h"

namespace wordloom {
namespace {

struct EasyDeleter {
    const CurlLibrary* curl;
    void operator()(CURL* handle) const { curl->easyCleanup(handle); }
};
struct ListDeleter {
    const CurlLibrary* curl;
    void operator()(curl_slist* list) const { curl->slistFreeAll(list); }
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

OllamaClient::OllamaClient(OllamaClientOptions options) : options_(std::move(options)) {}

namespace {

struct Answer {
    long status = 0;
    std::string body;
};

/// One request to `url`: a POST of `body` when there is one, else a GET.
Answer exchange(const OllamaClientOptions& options, const std::string& url,
                const std::string* body) {
    const CurlLibrary& lib = CurlLibrary::get();
    std::unique_ptr<CURL, EasyDeleter> handle(lib.easyInit(), EasyDeleter{&lib});
    if (!handle) {
        throw AIServiceError::ollamaConnectionFailed("cannot create an HTTP request");
    }
    CURL* curl = handle.get();
    std::unique_ptr<curl_slist, ListDeleter> headers(
        lib.slistAppend(nullptr, "Content-Type: application/json"), ListDeleter{&lib});
    Exchange exchange{&options, {}};
    char errorText[CURL_ERROR_SIZE] = {};

    lib.easySetopt(curl, CURLOPT_URL, url.c_str());
    lib.easySetopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    lib.easySetopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
    lib.easySetopt(curl, CURLOPT_NOPROXY, "*");
    lib.easySetopt(curl, CURLOPT_NOSIGNAL, 1L);
    if (body) {
        lib.easySetopt(curl, CURLOPT_POST, 1L);
        lib.easySetopt(curl, CURLOPT_HTTPHEADER, headers.get());
        lib.easySetopt(curl, CURLOPT_POSTFIELDS, body->c_str());
        lib.easySetopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    }
    lib.easySetopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(options.totalTimeout.count()));
    lib.easySetopt(curl, CURLOPT_CONNECTTIMEOUT_MS,
                   static_cast<long>(options.totalTimeout.count()));
    // "Silent for idleTimeout" = fewer than 1 byte per second for that long.
    lib.easySetopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    lib.easySetopt(curl, CURLOPT_LOW_SPEED_TIME,
                   std::max(1L, static_cast<long>(options.idleTimeout.count() / 1000)));
    lib.easySetopt(curl, CURLOPT_WRITEFUNCTION, collect);
    lib.easySetopt(curl, CURLOPT_WRITEDATA, &exchange);
    lib.easySetopt(curl, CURLOPT_OPENSOCKETFUNCTION, openSocket);
    lib.easySetopt(curl, CURLOPT_OPENSOCKETDATA, &exchange);
    lib.easySetopt(curl, CURLOPT_ERRORBUFFER, errorText);

    const CURLcode code = lib.easyPerform(curl);
    if (code != CURLE_OK) {
        if (exchange.tooLarge) {
            throw AIServiceError::ollamaConnectionFailed("the response is larger than 16 MB");
        }
        const std::string reason = errorText[0] != '\0' ? errorText : lib.easyStrerror(code);
        throw AIServiceError::ollamaConnectionFailed(reason);
    }
    Answer answer;
    lib.easyGetinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
    answer.body = std::move(exchange.body);
    if (answer.status < 200 || answer.status > 299) {
        throw AIServiceError::ollamaHTTPError(answer.status, answer.body);
    }
    return answer;
}

}  // namespace

std::string OllamaClient::generate(const OllamaEndpoint& endpoint,
                                   const OllamaGenerateRequest& request) const {
    const std::string body = request.toJSON();
    const Answer answer = exchange(options_, endpoint.generateURL, &body);
    OllamaGenerateResponse response = OllamaGenerateResponse::decode(answer.body);
    if (response.error) {
        // The server answered, so this is its verdict rather than a connection problem.
        throw AIServiceError::ollamaHTTPError(answer.status, *response.error);
    }
    return response.response.value_or("");
}

std::vector<std::string> OllamaClient::listModels(const OllamaEndpoint& endpoint) const {
    constexpr std::string_view generatePath = "api/generate";
    std::string url = endpoint.generateURL;
    if (url.size() >= generatePath.size() &&
        url.compare(url.size() - generatePath.size(), generatePath.size(), generatePath) == 0) {
        url.replace(url.size() - generatePath.size(), generatePath.size(), "api/tags");
    }
    const Answer answer = exchange(options_, url, nullptr);
    return decodeOllamaModelNames(answer.body);
}

}  // namespace wordloom
