#pragma once

#include "core/expansion/DetectionSources.h"
#include "core/library/SettingsStore.h"
#include "core/library/SnippetStore.h"

namespace wordloom {

/// The snippet store as the detector's group lookup.
class SnippetStoreGroupLookup final : public SnippetGroupLookup {
  public:
    explicit SnippetStoreGroupLookup(const SnippetStore& store) : store_(store) {}
    const SnippetGroup* group(const Uuid& id) const override { return store_.group(id); }

  private:
    const SnippetStore& store_;
};

/// The settings store as the detector's settings, read live.
class SettingsStoreSource final : public SettingsSource {
  public:
    explicit SettingsStoreSource(const SettingsStore& store) : store_(store) {}
    const AppSettings& settings() const override { return store_.settings(); }

  private:
    const SettingsStore& store_;
};

}  // namespace wordloom
