#pragma once

#include "core/base/Uuid.h"
#include "core/library/AppSettings.h"
#include "core/library/SnippetGroup.h"

namespace wordloom {

/// Where the detector finds a snippet's group. The snippet store answers it in the app; the
/// narrow interface keeps the detector's tests and the `type` command free of the store's
/// files and load cycle.
class SnippetGroupLookup {
  public:
    virtual ~SnippetGroupLookup() = default;
    /// The group with `id`, or nullptr. The pointer is used at once, never kept.
    virtual const SnippetGroup* group(const Uuid& id) const = 0;
};

/// Where the detector reads the current settings, on every keystroke.
class SettingsSource {
  public:
    virtual ~SettingsSource() = default;
    virtual const AppSettings& settings() const = 0;
};

}  // namespace wordloom
