#pragma once

#include "core/expansion/DetectionSources.h"
#include "core/library/AppSettings.h"
#include "core/library/Snippet.h"

namespace wordloom {

/// How one snippet behaves once its groups and the settings are taken into account.
struct EffectiveSnippetRules {
    TriggerMode triggerMode = TriggerMode::delimiter;
    bool caseInsensitive = true;
    /// The snippet's group or one of its ancestors is disabled.
    bool inDisabledGroup = false;
};

/// Resolves a snippet's effective trigger mode, case rule and group state.
///
/// - Trigger mode: the snippet's own; every snippet record carries one.
/// - Case rule: the snippet's own unless it is `auto`; then the nearest group, walking up
///   through parents, whose default is set and not `auto`; then the settings' default. What is
///   still `auto` after that matches without regard to case (smart case adapts the expansion
///   later).
/// - Group chain: a missing group ends the walk as if the chain stopped there; a group met a
///   second time (a cycle in `parentId`) ends it too, and so does a chain deeper than
///   maxGroupDepth. So a corrupt library never loops, it only loses the defaults beyond the
///   damage.
class SnippetRules {
  public:
    static constexpr int maxGroupDepth = 64;

    explicit SnippetRules(const SnippetGroupLookup& groups) : groups_(groups) {}

    EffectiveSnippetRules resolve(const Snippet& snippet, const AppSettings& settings) const;

    /// Enabled, not deleted, and not in a disabled group.
    bool isEffectivelyEnabled(const Snippet& snippet) const;

  private:
    const SnippetGroupLookup& groups_;
};

}  // namespace wordloom
