#include "core/macros/AIService.h"

#include "core/base/Log.h"
#include "core/base/Text.h"
#include "core/macros/AIPrompt.h"
#include "core/macros/AIServiceError.h"
#include "core/macros/OllamaEndpoint.h"
#include "core/macros/TimeoutGate.h"

namespace wordloom {
namespace {

const Logger& logger() {
    static const Logger instance("AIService");
    return instance;
}

std::string trimmed(std::string_view text) {
    return std::string(text::trimWhitespaceAndNewlines(text));
}

}  // namespace

AIService::AIService(SettingsSource settings, OllamaClientOptions http,
                     OnDeviceTextModel* onDeviceModel, Executor* timers, Duration onDeviceTimeout)
    : settings_(std::move(settings)),
      ollama_(std::move(http)),
      onDeviceModel_(timers != nullptr ? onDeviceModel : nullptr),
      timers_(timers),
      onDeviceTimeout_(onDeviceTimeout) {}

std::string AIService::generate(const std::string& prompt,
                                const std::optional<std::string>& provider,
                                const std::optional<std::string>& model,
                                const std::map<std::string, std::string>& variables) {
    const AIServiceSettings settings = settings_();
    const AIProvider chosen = aiProviderNamed(provider).value_or(settings.provider);
    if (chosen == AIProvider::disabled) {
        throw AIServiceError::providerDisabled();
    }
    const std::string finalPrompt = trimmed(substitutePromptVariables(prompt, variables));
    if (finalPrompt.empty()) {
        throw AIServiceError::emptyPrompt();
    }

    std::string text;
    switch (chosen) {
        case AIProvider::appleIntelligence:
            text = generateOnDevice(finalPrompt);
            break;
        case AIProvider::ollama:
            text = generateWithOllama(finalPrompt, model, settings);
            break;
        case AIProvider::appleIntelligenceWithOllamaFallback:
            try {
                text = generateOnDevice(finalPrompt);
            } catch (const std::exception& primary) {
                logger().info(std::string("falling back to Ollama: ") + primary.what());
                try {
                    text = generateWithOllama(finalPrompt, model, settings);
                } catch (const std::exception& fallback) {
                    throw AIServiceError::fallbackFailed(primary.what(), fallback.what());
                }
            }
            break;
        case AIProvider::disabled:
            break;
    }
    // Models like to open with a line break; the inserted text should not.
    text = trimmed(text);
    if (text.empty()) {
        throw AIServiceError::emptyResponse();
    }
    return text;
}

std::string AIService::generateOnDevice(const std::string& prompt) {
    if (onDeviceModel_ == nullptr) {
        throw AIServiceError::appleIntelligenceUnavailable(kNoOnDeviceModelReason);
    }
    if (auto reason = onDeviceModel_->unavailabilityReason()) {
        throw AIServiceError::appleIntelligenceUnavailable(*reason);
    }
    OnDeviceTextModel* model = onDeviceModel_;
    return TimeoutGate::withTimeout(
        *timers_, timeoutThreads_, onDeviceTimeout_,
        std::make_exception_ptr(AIServiceError::appleIntelligenceTimedOut()),
        [model, prompt](std::stop_token stop) {
            return model->respond(std::string(kAISystemPrompt), prompt, stop);
        });
}

std::string AIService::generateWithOllama(const std::string& prompt,
                                          const std::optional<std::string>& model,
                                          const AIServiceSettings& settings) {
    // Parsing checks the privacy guard; nothing touches the network before it.
    const OllamaEndpoint endpoint = OllamaEndpoint::parse(settings.ollamaEndpoint);
    OllamaGenerateRequest request;
    const std::string macroModel = model ? trimmed(*model) : std::string();
    const std::string settingsModel = trimmed(settings.ollamaModel);
    request.model = !macroModel.empty()      ? macroModel
                    : !settingsModel.empty() ? settingsModel
                                             : std::string(kDefaultOllamaModel);
    request.prompt = prompt;
    request.system = std::string(kAISystemPrompt);
    request.stream = false;
    return ollama_.generate(endpoint, request);
}

}  // namespace wordloom
