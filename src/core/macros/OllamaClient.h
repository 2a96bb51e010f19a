#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "core/macros/OllamaEndpoint.h"
#include "core/macros/OllamaMessages.h"

namespace wordloom {

struct OllamaClientOptions {
    /// The whole exchange, connection to last byte.
    std::chrono::milliseconds totalTimeout{20'000};
    /// How long the server may stay silent (no byte) before the request is given up.
    std::chrono::milliseconds idleTimeout{15'000};
    /// Called for every socket the client opens; tests count connection attempts with it.
    std::function<void()> onSocketOpen;
};

/// POSTs to a local Ollama's api/generate over libcurl (loaded on first use), and to nothing else:
/// no proxy, no redirects, http(s) only, and a socket is opened only to a loopback address even
/// when a name like "localhost" resolves otherwise.
class OllamaClient {
  public:
    explicit OllamaClient(OllamaClientOptions options = {});

    /// Returns the generated text as Ollama sent it. Throws AIServiceError
    /// (ollamaConnectionFailed, ollamaHTTPError) or OllamaDecodingError.
    std::string generate(const OllamaEndpoint& endpoint,
                         const OllamaGenerateRequest& request) const;

    /// The names of the models the server has (GET api/tags). Throws as generate() does.
    std::vector<std::string> listModels(const OllamaEndpoint& endpoint) const;

  private:
    OllamaClientOptions options_;
};

}  // namespace wordloom
