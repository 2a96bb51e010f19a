#include "core/macros/AIPrompt.h"

#include <array>
#include <utility>

#include "core/base/Text.h"

namespace wordloom {
namespace {

bool isAsciiLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

std::optional<AIProvider> aiProviderNamed(const std::optional<std::string>& name) {
    if (!name) {
        return std::nullopt;
    }
    const std::string key = text::lowercased(text::trimWhitespaceAndNewlines(*name));
    if (key.empty()) {
        return std::nullopt;
    }
    static const std::array<std::pair<std::string_view, AIProvider>, 13> aliases{{
        {"apple", AIProvider::appleIntelligence},
        {"appleintelligence", AIProvider::appleIntelligence},
        {"apple-intelligence", AIProvider::appleIntelligence},
        {"foundation", AIProvider::appleIntelligence},
        {"foundationmodels", AIProvider::appleIntelligence},
        {"on-device", AIProvider::appleIntelligence},
        {"ollama", AIProvider::ollama},
        {"local", AIProvider::ollama},
        {"auto", AIProvider::appleIntelligenceWithOllamaFallback},
        {"default", AIProvider::appleIntelligenceWithOllamaFallback},
        {"fallback", AIProvider::appleIntelligenceWithOllamaFallback},
        {"disabled", AIProvider::disabled},
        {"none", AIProvider::disabled},
    }};
    for (const auto& [alias, provider] : aliases) {
        if (key == alias) {
            return provider;
        }
    }
    // A raw value, compared without regard to case because the name was lower-cased above:
    // "appleIntelligenceWithOllamaFallback" as written in settings.json is accepted too.
    for (AIProvider provider :
         {AIProvider::appleIntelligenceWithOllamaFallback, AIProvider::appleIntelligence,
          AIProvider::ollama, AIProvider::disabled}) {
        if (key == text::lowercased(rawValue(provider))) {
            return provider;
        }
    }
    return std::nullopt;
}

std::string substitutePromptVariables(std::string_view prompt,
                                      const std::map<std::string, std::string>& variables) {
    std::string out;
    out.reserve(prompt.size());
    std::size_t i = 0;
    while (i < prompt.size()) {
        if (prompt[i] != '$' || i + 1 >= prompt.size()) {
            out.push_back(prompt[i++]);
            continue;
        }
        if (prompt[i + 1] == '{') {
            std::size_t end = i + 2;
            while (end < prompt.size() &&
                   (isAsciiLetter(prompt[end]) || isAsciiDigit(prompt[end]) || prompt[end] == '_' ||
                    prompt[end] == '-')) {
                ++end;
            }
            if (end > i + 2 && end < prompt.size() && prompt[end] == '}') {
                const auto found = variables.find(std::string(prompt.substr(i + 2, end - i - 2)));
                if (found != variables.end()) {
                    out += found->second;
                } else {
                    out.append(prompt.substr(i, end + 1 - i));
                }
                i = end + 1;
                continue;
            }
        } else if (isAsciiLetter(prompt[i + 1]) || prompt[i + 1] == '_') {
            std::size_t end = i + 2;
            while (end < prompt.size() && (isAsciiLetter(prompt[end]) ||
                                           isAsciiDigit(prompt[end]) || prompt[end] == '_')) {
                ++end;
            }
            const auto found = variables.find(std::string(prompt.substr(i + 1, end - i - 1)));
            if (found != variables.end()) {
                out += found->second;
            } else {
                out.append(prompt.substr(i, end - i));
            }
            i = end;
            continue;
        }
        out.push_back(prompt[i++]);
    }
    return out;
}

}  // namespace wordloom
