#include "core/macros/AIServiceError.h"

namespace wordloom {

AIServiceError AIServiceError::nonLocalEndpointRejected(const std::string& host) {
    return {Kind::nonLocalEndpointRejected, "Privacy guard rejected non-local Ollama host '" +
                                                host + "' (only 127.0.0.1 / localhost allowed)"};
}

AIServiceError AIServiceError::invalidEndpointURL(const std::string& endpoint) {
    return {Kind::invalidEndpointURL, "Invalid Ollama endpoint URL '" + endpoint + "'"};
}

AIServiceError AIServiceError::appleIntelligenceUnavailable(const std::string& reason) {
    return {Kind::appleIntelligenceUnavailable, "Apple Intelligence unavailable (" + reason + ")"};
}

AIServiceError AIServiceError::ollamaConnectionFailed(const std::string& reason) {
    return {Kind::ollamaConnectionFailed, "Local Ollama unavailable (" + reason + ")"};
}

AIServiceError AIServiceError::ollamaHTTPError(long status, const std::string& body) {
    return {Kind::ollamaHTTPError, "Ollama HTTP " + std::to_string(status) + ": " + body};
}

AIServiceError AIServiceError::fallbackFailed(const std::string& primary,
                                              const std::string& fallback) {
    return {Kind::fallbackFailed, primary + ". Ollama fallback also failed: " + fallback};
}

AIServiceError AIServiceError::emptyPrompt() {
    return {Kind::emptyPrompt, "Empty AI prompt"};
}

AIServiceError AIServiceError::providerDisabled() {
    return {Kind::providerDisabled, "AI macro is disabled in Preferences"};
}

AIServiceError AIServiceError::emptyResponse() {
    return {Kind::emptyResponse, "AI model returned an empty response"};
}

AIServiceError AIServiceError::appleIntelligenceTimedOut() {
    return {Kind::appleIntelligenceTimedOut,
            "Apple Intelligence did not respond within 20 seconds"};
}

}  // namespace wordloom
