#pragma once

#include <map>
#include <optional>
#include <string>

namespace wordloom {

/// Generates text for {{ai:...}} from a model that runs on the user's machine.
class AITextGenerating {
  public:
    virtual ~AITextGenerating() = default;

    /// Generates text for `prompt`. `provider` and `model` are the macro's own choices (absent:
    /// the settings decide); `variables` are the values the prompt may refer to ("clipboard",
    /// "selected", "selection", ...). Blocks the calling thread until the text arrives or a
    /// deadline passes. Throws an exception derived from std::exception whose what() is the
    /// message shown to the user; never returns partial text. Safe to call from several threads.
    virtual std::string generate(const std::string& prompt,
                                 const std::optional<std::string>& provider,
                                 const std::optional<std::string>& model,
                                 const std::map<std::string, std::string>& variables) = 0;
};

}  // namespace wordloom
