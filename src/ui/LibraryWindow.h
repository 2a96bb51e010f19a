#pragma once

#include <QMainWindow>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/base/Executor.h"
#include "core/base/ObserverList.h"
#include "core/library/Snippet.h"
#include "core/library/SnippetListing.h"

class QAction;
class QLabel;
class QLineEdit;
class QTableView;

namespace wordloom {

class LibraryGroupTree;
class LibrarySnippetEditor;
class LibrarySnippetModel;
class LibraryVersionsDialog;
class SettingsStore;
class SnippetStore;
class SnippetVersionStore;
class UserDefaults;

/// What the library window works on. All outlive it.
struct LibraryWindowServices {
    Executor& executor;
    SnippetStore& snippets;
    SnippetVersionStore& versions;
    SettingsStore& settings;
    UserDefaults& defaults;  // where the window's place is kept
    /// Writes a backup of the whole library to a file; returns what to tell the user, or
    /// throws std::runtime_error with the reason. Empty: no backup entries.
    std::function<std::string(const std::string& file)> makeBackup;
    /// Replaces the library with a backup's, all or nothing; as makeBackup.
    std::function<std::string(const std::string& file)> restoreBackup;
};

/// The library: groups on the left, the snippets of the chosen group (filtered by the search
/// field, ranked as quick search ranks) in the middle, and the chosen snippet's editor on the
/// right. Every change goes through the SnippetStore, so saving, versions and the change
/// announcement are those of the command line, and changes made elsewhere show up here.
class LibraryWindow final : public QMainWindow {
  public:
    explicit LibraryWindow(LibraryWindowServices services);
    ~LibraryWindow() override;

    /// Brings the window forward, with `snippet` (an id or an abbreviation) chosen when given.
    /// Returns why not when the snippet isn't in the library.
    std::optional<std::string> present(const std::string& snippet = {});
    /// Chooses a snippet in the list (showing every snippet when the scope hides it).
    bool select(const Uuid& id);

    LibrarySnippetModel& model() { return *model_; }
    LibrarySnippetEditor& editor() { return *editor_; }
    /// The snippets chosen in the list.
    std::vector<Uuid> selectedIds() const;

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void buildMenus();
    /// Runs a change of the library made from the window. The store announces each change at
    /// once; the lists are read again once, after the whole change.
    void changeLibrary(const std::function<void()>& change);
    void flushLibraryChange();
    void libraryChanged();
    void scopeChanged();
    void currentSnippetChanged();
    void showResult(const QString& what, const std::vector<std::string>& errors);

    void dropSnippets(const std::vector<Uuid>& ids, const LibraryScope& target);
    void newSnippet();
    void newGroup(bool insideCurrent);
    void deleteSelection();
    void duplicateSelection();
    void setSelectionEnabled(bool enabled);
    void tagSelection();
    void moveSelection();
    void restoreSelection();
    void emptyRecentlyDeleted();
    void deleteCurrentGroup();
    void toggleCurrentGroup();
    void showVersions();
    void backup();
    void restoreFromBackup();
    void updateActions();

    LibraryWindowServices services_;
    LibrarySnippetModel* model_ = nullptr;
    LibraryGroupTree* groups_ = nullptr;
    QTableView* table_ = nullptr;
    QLineEdit* search_ = nullptr;
    QLabel* status_ = nullptr;
    LibrarySnippetEditor* editor_ = nullptr;
    std::unique_ptr<LibraryVersionsDialog> versionsDialog_;
    std::optional<Uuid> shownSnippet_;
    bool reloading_ = false;
    int changing_ = 0;
    bool changePending_ = false;
    bool stale_ = false;  // the library changed while the window was closed
    Subscription snippetSubscription_;

    QAction* deleteAction_ = nullptr;
    QAction* duplicateAction_ = nullptr;
    QAction* enableAction_ = nullptr;
    QAction* disableAction_ = nullptr;
    QAction* tagAction_ = nullptr;
    QAction* moveAction_ = nullptr;
    QAction* restoreAction_ = nullptr;
    QAction* emptyAction_ = nullptr;
    QAction* versionsAction_ = nullptr;
    QAction* groupToggleAction_ = nullptr;
    QAction* groupDeleteAction_ = nullptr;
    QAction* groupRenameAction_ = nullptr;
};

}  // namespace wordloom
