#pragma once

#include <exception>
#include <string>

namespace wordloom {

/// Why the AI service produced no text. what() is the message shown to the user.
class AIServiceError : public std::exception {
  public:
    enum class Kind {
        nonLocalEndpointRejected,
        invalidEndpointURL,
        appleIntelligenceUnavailable,
        ollamaConnectionFailed,
        ollamaHTTPError,
        fallbackFailed,
        emptyPrompt,
        providerDisabled,
        emptyResponse,
        appleIntelligenceTimedOut,
    };

    static AIServiceError nonLocalEndpointRejected(const std::string& host);
    static AIServiceError invalidEndpointURL(const std::string& endpoint);
    static AIServiceError appleIntelligenceUnavailable(const std::string& reason);
    static AIServiceError ollamaConnectionFailed(const std::string& reason);
    static AIServiceError ollamaHTTPError(long status, const std::string& body);
    static AIServiceError fallbackFailed(const std::string& primary, const std::string& fallback);
    static AIServiceError emptyPrompt();
    static AIServiceError providerDisabled();
    static AIServiceError emptyResponse();
    static AIServiceError appleIntelligenceTimedOut();

    Kind kind() const { return kind_; }
    const std::string& description() const { return description_; }
    const char* what() const noexcept override { return description_.c_str(); }

  private:
    AIServiceError(Kind kind, std::string description)
        : kind_(kind), description_(std::move(description)) {}
    Kind kind_;
    std::string description_;
};

/// A body from Ollama that is not JSON of the response's shape.
class OllamaDecodingError : public std::exception {
  public:
    const char* what() const noexcept override { return "Invalid JSON response from Ollama"; }
};

}  // namespace wordloom
