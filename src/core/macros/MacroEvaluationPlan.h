#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace wordloom {

/// Results kept across the evaluations of one expansion (before and after the fill-in form), so
/// that a script or AI request that already succeeded is not run again. Shared by reference
/// between the top-level evaluation and its nested snippets; safe to use from several threads.
class MacroEvaluationPlan {
  public:
    /// Finished text of a script macro, keyed by "js:" + fill-in path + "#" + macro tag.
    std::optional<std::string> replacement(const std::string& key) const {
        std::lock_guard lock(mutex_);
        return find(replacements_, key);
    }
    void setReplacement(const std::string& key, std::string text) {
        std::lock_guard lock(mutex_);
        replacements_[key] = std::move(text);
    }

    /// Generated text of an AI request, keyed by its prompt, provider, model and variables.
    std::optional<std::string> aiResult(const std::string& key) const {
        std::lock_guard lock(mutex_);
        return find(aiResults_, key);
    }
    void setAIResult(const std::string& key, std::string text) {
        std::lock_guard lock(mutex_);
        aiResults_[key] = std::move(text);
    }

    /// Every error text written during the expansion, in order.
    std::vector<std::string> errors() const {
        std::lock_guard lock(mutex_);
        return errors_;
    }
    void addError(std::string error) {
        std::lock_guard lock(mutex_);
        errors_.push_back(std::move(error));
    }

  private:
    static std::optional<std::string> find(const std::map<std::string, std::string>& map,
                                           const std::string& key) {
        auto found = map.find(key);
        return found == map.end() ? std::nullopt : std::optional<std::string>(found->second);
    }

    mutable std::mutex mutex_;
    std::map<std::string, std::string> replacements_;
    std::map<std::string, std::string> aiResults_;
    std::vector<std::string> errors_;
};

}  // namespace wordloom
