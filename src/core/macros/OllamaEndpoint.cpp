#include "core/macros/OllamaEndpoint.h"

#include <memory>
#include <optional>

#include "core/base/Text.h"
#include "core/macros/AIServiceError.h"
#include "core/macros/CurlLibrary.h"

namespace wordloom {
namespace {

struct UrlDeleter {
    const CurlLibrary* curl;
    void operator()(CURLU* url) const { curl->urlCleanup(url); }
};

std::optional<std::string> part(const CurlLibrary& curl, CURLU* url, CURLUPart which) {
    char* value = nullptr;
    if (curl.urlGet(url, which, &value, 0) != CURLUE_OK || value == nullptr) {
        return std::nullopt;
    }
    std::string copy(value);
    curl.free(value);
    return copy;
}

}  // namespace

OllamaEndpoint OllamaEndpoint::parse(const std::string& endpoint) {
    const CurlLibrary& curl = CurlLibrary::get();
    std::unique_ptr<CURLU, UrlDeleter> url(curl.url(), UrlDeleter{&curl});
    if (!url || curl.urlSet(url.get(), CURLUPART_URL, endpoint.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
                    CURLUE_OK) {
        throw AIServiceError::invalidEndpointURL(endpoint);
    }
    const std::string scheme =
        text::lowercased(part(curl, url.get(), CURLUPART_SCHEME).value_or(""));
    std::string host = text::lowercased(part(curl, url.get(), CURLUPART_HOST).value_or(""));
    if ((scheme != "http" && scheme != "https") || host.empty()) {
        throw AIServiceError::invalidEndpointURL(endpoint);
    }
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    if (host != "127.0.0.1" && host != "localhost" && host != "::1") {
        throw AIServiceError::nonLocalEndpointRejected(host);
    }

    std::string path = part(curl, url.get(), CURLUPART_PATH).value_or("/");
    if (path.empty() || path.back() != '/') {
        path += '/';
    }
    path += "api/generate";
    curl.urlSet(url.get(), CURLUPART_PATH, path.c_str(), 0);
    // Neither credentials nor a fragment belong in the request.
    curl.urlSet(url.get(), CURLUPART_USER, nullptr, 0);
    curl.urlSet(url.get(), CURLUPART_PASSWORD, nullptr, 0);
    curl.urlSet(url.get(), CURLUPART_FRAGMENT, nullptr, 0);
    const std::optional<std::string> full = part(curl, url.get(), CURLUPART_URL);
    if (!full) {
        throw AIServiceError::invalidEndpointURL(endpoint);
    }
    return OllamaEndpoint{host, *full};
}

}  // namespace wordloom
