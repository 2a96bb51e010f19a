#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// The body of POST api/generate.
struct OllamaGenerateRequest {
    std::string model;
    std::string prompt;
    std::string system;
    /// false: Ollama answers with one JSON object instead of a stream of them.
    bool stream = false;

    std::string toJSON() const;
};

/// The answer of api/generate: the text, or Ollama's own error message.
struct OllamaGenerateResponse {
    std::optional<std::string> response;
    std::optional<std::string> error;

    /// Throws OllamaDecodingError when `body` is not a JSON object of this shape.
    static OllamaGenerateResponse decode(std::string_view body);
};

/// The model names in the answer of api/tags ({"models": [{"name": ...}, ...]}). Throws
/// OllamaDecodingError when `body` is not of that shape.
std::vector<std::string> decodeOllamaModelNames(std::string_view body);

}  // namespace wordloom
