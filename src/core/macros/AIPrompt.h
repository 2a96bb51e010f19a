#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "core/library/AppSettings.h"

namespace wordloom {

/// The provider a macro's provider= value names, or nothing (absent, empty or unknown: the
/// settings decide).
std::optional<AIProvider> aiProviderNamed(const std::optional<std::string>& name);

/// Replaces ${name} and $name with the variables' values, the braced form taking precedence
/// where both could apply. One left-to-right pass: text that comes from a value is never scanned
/// again, so a clipboard holding "$selected" stays as it is. A reference to a variable that is
/// not offered is left as written.
std::string substitutePromptVariables(std::string_view prompt,
                                      const std::map<std::string, std::string>& variables);

/// The instructions sent with every prompt to either provider.
inline constexpr std::string_view kAISystemPrompt =
    "You are a concise text expansion assistant inside Wordloom on macOS. Output only the "
    "requested text with no surrounding commentary, preambles, or markdown code fences unless "
    "explicitly asked.";

}  // namespace wordloom
