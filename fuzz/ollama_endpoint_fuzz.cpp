// Feeds arbitrary endpoint settings to the privacy guard. Whatever it accepts must name this
// machine, and the URL it builds must lead to that same host: no parser disagreement may let a
// request leave the machine.
#include <curl/curl.h>

#include <string>

#include "FuzzSupport.h"
#include "core/macros/AIServiceError.h"
#include "core/macros/OllamaEndpoint.h"

using namespace wordloom;

namespace {

std::string hostOf(const std::string& url) {
    CURLU* handle = curl_url();
    std::string host;
    char* value = nullptr;
    if (curl_url_set(handle, CURLUPART_URL, url.c_str(), 0) == CURLUE_OK &&
        curl_url_get(handle, CURLUPART_HOST, &value, 0) == CURLUE_OK) {
        host = value;
        curl_free(value);
    }
    curl_url_cleanup(handle);
    return host;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string endpoint(fuzz::asText(data, size));
    try {
        const OllamaEndpoint parsed = OllamaEndpoint::parse(endpoint);
        FUZZ_CHECK(parsed.host == "127.0.0.1" || parsed.host == "localhost" ||
                   parsed.host == "::1");
        std::string host = hostOf(parsed.generateURL);
        for (char& c : host) {
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
        FUZZ_CHECK(host == parsed.host || host == "[" + parsed.host + "]");
        FUZZ_CHECK(parsed.generateURL.find("/api/generate") != std::string::npos);
    } catch (const AIServiceError& error) {
        FUZZ_CHECK(error.kind() == AIServiceError::Kind::invalidEndpointURL ||
                   error.kind() == AIServiceError::Kind::nonLocalEndpointRejected);
    }
    return 0;
}
