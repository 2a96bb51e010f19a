#include "core/macros/OllamaEndpoint.h"

#include <curl/curl.h>

#include <memory>
#include <optional>

#include "core/base/Text.h"
#include "core/macros/AIServiceError.h"

namespace wordloom {
namespace {

struct UrlDeleter {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

std::optional<std::string> part(CURLU* url, CURLUPart which) {
    char* value = nullptr;
    if (curl_url_get(url, which, &value, 0) != CURLUE_OK || value == nullptr) {
        return std::nullopt;
    }
    std::string copy(value);
    curl_free(value);
    return copy;
}

}  // namespace

OllamaEndpoint OllamaEndpoint::parse(const std::string& endpoint) {
    std::unique_ptr<CURLU, UrlDeleter> url(curl_url());
    if (!url || curl_url_set(url.get(), CURLUPART_URL, endpoint.c_str(),
                             CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
        throw AIServiceError::invalidEndpointURL(endpoint);
    }
    const std::string scheme = text::lowercased(part(url.get(), CURLUPART_SCHEME).value_or(""));
    std::string host = text::lowercased(part(url.get(), CURLUPART_HOST).value_or(""));
    if ((scheme != "http" && scheme != "https") || host.empty()) {
        throw AIServiceError::invalidEndpointURL(endpoint);
    }
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    if (host != "127.0.0.1" && host != "localhost" && host != "::1") {
        throw AIServiceError::nonLocalEndpointRejected(host);
    }

    std::string path = part(url.get(), CURLUPART_PATH).value_or("/");
    if (path.empty() || path.back() != '/') {
        path += '/';
    }
    path += "api/generate";
    curl_url_set(url.get(), CURLUPART_PATH, path.c_str(), 0);
    // Neither credentials nor a fragment belong in the request.
    curl_url_set(url.get(), CURLUPART_USER, nullptr, 0);
    curl_url_set(url.get(), CURLUPART_PASSWORD, nullptr, 0);
    curl_url_set(url.get(), CURLUPART_FRAGMENT, nullptr, 0);
    const std::optional<std::string> full = part(url.get(), CURLUPART_URL);
    if (!full) {
        throw AIServiceError::invalidEndpointURL(endpoint);
    }
    return OllamaEndpoint{host, *full};
}

}  // namespace wordloom
