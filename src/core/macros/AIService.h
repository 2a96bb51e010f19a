#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "core/base/Executor.h"
#include "core/base/OwnedThreads.h"
#include "core/library/AppSettings.h"
#include "core/macros/AITextGenerating.h"
#include "core/macros/OllamaClient.h"
#include "core/macros/OnDeviceTextModel.h"

namespace wordloom {

/// The settings the AI service reads for each request.
struct AIServiceSettings {
    AIProvider provider = AIProvider::appleIntelligenceWithOllamaFallback;
    std::string ollamaEndpoint = "http://127.0.0.1:11434";
    std::string ollamaModel;

    static AIServiceSettings from(const AppSettings& settings) {
        return {settings.aiProvider, settings.ollamaEndpoint, settings.ollamaModel};
    }
};

/// Text for {{ai:...}} from a model on this machine: the operating system's own model where
/// there is one (not on this platform), or a local Ollama server. Nothing leaves the machine:
/// an Ollama endpoint whose host is not this machine is refused before any network use.
class AIService final : public AITextGenerating {
  public:
    using SettingsSource = std::function<AIServiceSettings()>;

    static constexpr const char* kDefaultOllamaModel = "llama3.2";
    static constexpr const char* kNoOnDeviceModelReason = "not available on this platform";

    /// `settings` is called once per request, on the requesting thread. `onDeviceModel` and
    /// `timers` are optional and go together: without a model the on-device provider reports
    /// itself unavailable.
    AIService(SettingsSource settings, OllamaClientOptions http = {},
              OnDeviceTextModel* onDeviceModel = nullptr, Executor* timers = nullptr,
              Duration onDeviceTimeout = std::chrono::seconds(20));

    std::string generate(const std::string& prompt, const std::optional<std::string>& provider,
                         const std::optional<std::string>& model,
                         const std::map<std::string, std::string>& variables) override;

    /// Asks on-device requests still running to stop and waits up to `limit` for their
    /// threads (quitting). True when none is left; later requests time out at once.
    bool stopAndJoin(std::chrono::milliseconds limit) { return timeoutThreads_.stopAndJoin(limit); }

  private:
    std::string generateOnDevice(const std::string& prompt);
    std::string generateWithOllama(const std::string& prompt,
                                   const std::optional<std::string>& model,
                                   const AIServiceSettings& settings);

    SettingsSource settings_;
    OllamaClient ollama_;
    OnDeviceTextModel* onDeviceModel_;
    Executor* timers_;
    Duration onDeviceTimeout_;
    /// On-device requests that ignore their time-out keep their thread until they end; past
    /// this many, new ones are refused rather than piling up threads.
    static constexpr std::size_t maxTimeoutThreads = 4;
    OwnedThreads timeoutThreads_{maxTimeoutThreads};
};

}  // namespace wordloom
