#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "core/base/ManualExecutor.h"
#include "core/library/PersistenceService.h"
#include "core/library/SettingsStore.h"
#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/UserDefaults.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {

/// A library on a manual clock, built the way the app builds it. `launch()` makes a fresh set
/// of stores over the same folder, as a new start of the app would.
class StoreFixture : public ::testing::Test {
  protected:
    StoreFixture() { launch(); }

    void launch() {
        snippets.reset();
        settings.reset();
        versions.reset();
        persistence = std::make_unique<PersistenceService>(folder / "data", executor);
        images = std::make_unique<SnippetImageStore>(persistence->imagesFolder());
        defaults = std::make_unique<UserDefaults>(folder / "config" / "defaults.json");
        versions = std::make_unique<SnippetVersionStore>(executor, *persistence);
        settings = std::make_unique<SettingsStore>(executor, *persistence);
        snippets =
            std::make_unique<SnippetStore>(executor, *persistence, *images, *versions, *defaults);
    }

    /// Loads everything and runs the seeding, then lets its save land.
    void hydrate() {
        versions->startHydration();
        settings->startHydration();
        snippets->startHydration();
        executor.runUntilIdle();
        settle();
    }

    /// Lets every debounced save fire and finish.
    void settle() { executor.advance(std::chrono::seconds(1)); }

    /// Marks the first run done, so a test starts from an empty library.
    void skipSeeding() { defaults->setBool("dateTimeGroupCreated", true); }

    TemporaryDirectory folder;
    ManualExecutor executor;
    std::unique_ptr<PersistenceService> persistence;
    std::unique_ptr<SnippetImageStore> images;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<SnippetVersionStore> versions;
    std::unique_ptr<SettingsStore> settings;
    std::unique_ptr<SnippetStore> snippets;
};

}  // namespace wordloom::test
