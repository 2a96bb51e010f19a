#pragma once

#include <string>

namespace wordloom {

/// A checked Ollama endpoint: an http or https URL whose host is this machine.
struct OllamaEndpoint {
    /// The host as written in the URL, lower-cased, without IPv6 brackets.
    std::string host;
    /// The URL of the generate call: the endpoint with "api/generate" appended to its path.
    std::string generateURL;

    /// Checks `endpoint` before anything touches the network. Throws AIServiceError
    /// invalidEndpointURL (not an http(s) URL with a host) or nonLocalEndpointRejected (a host
    /// other than 127.0.0.1, localhost or ::1).
    static OllamaEndpoint parse(const std::string& endpoint);
};

}  // namespace wordloom
