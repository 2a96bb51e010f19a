#pragma once

#include <map>
#include <string>
#include <vector>

#include "core/base/ManualExecutor.h"
#include "core/expansion/DetectionSources.h"
#include "core/expansion/SnippetCache.h"
#include "core/library/Snippet.h"

namespace wordloom::test {

inline Snippet makeSnippet(std::string abbreviation, TriggerMode mode = TriggerMode::immediate,
                           std::string content = "expanded") {
    Snippet snippet;
    snippet.id = Uuid::random();
    snippet.abbreviation = std::move(abbreviation);
    snippet.content = std::move(content);
    snippet.triggerMode = mode;
    return snippet;
}

inline Snippet makeRegexSnippet(std::string pattern, TriggerMode mode = TriggerMode::immediate) {
    auto snippet = makeSnippet(std::move(pattern), mode);
    snippet.matchType = AbbreviationMatchType::regex;
    return snippet;
}

class GroupTable final : public SnippetGroupLookup {
  public:
    const SnippetGroup* group(const Uuid& id) const override {
        const auto found = groups.find(id);
        return found == groups.end() ? nullptr : &found->second;
    }
    SnippetGroup& add(std::string name) {
        SnippetGroup group;
        group.id = Uuid::random();
        group.name = std::move(name);
        return groups[group.id] = group;
    }
    std::map<Uuid, SnippetGroup> groups;
};

class SettingsValue final : public SettingsSource {
  public:
    const AppSettings& settings() const override { return value; }
    AppSettings value;
};

/// Rebuilds `cache` from `snippets` and runs the rebuild to completion.
inline void rebuildNow(SnippetCache& cache, ManualExecutor& executor,
                       std::vector<Snippet> snippets) {
    cache.rebuild(std::move(snippets));
    executor.runUntilIdle();
}

}  // namespace wordloom::test
