#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "core/library/SnippetSearch.h"

class QLabel;
class QLineEdit;
class QListWidget;

namespace wordloom {

/// The quick search panel: a frameless panel above every window, a search field and the
/// matching snippets, each row its abbreviation, label, group and first line. Typing searches,
/// the arrows move, Enter expands the chosen snippet, Ctrl+Enter copies its expansion, Escape
/// closes. The panel hides itself before it hands a choice on, so that the caller can give
/// focus back to the window the user was typing in.
class QuickSearchPanel final : public QWidget {
  public:
    struct Actions {
        std::function<std::vector<SnippetSearchHit>(const std::string& query)> search;
        /// After the panel has hidden: expand or copy the chosen snippet.
        std::function<void(const Uuid&)> expand;
        std::function<void(const Uuid&)> copy;
        /// Ctrl+E: the chosen snippet in the library window (the keyboard goes there).
        std::function<void(const Uuid&)> openInLibrary;
        /// After the panel has hidden without a choice (Escape).
        std::function<void()> dismissed;
        /// Whenever the panel hides, for whatever reason.
        std::function<void()> hidden;
    };

    explicit QuickSearchPanel(Actions actions);

    /// Shows the panel with `query` typed in, and takes the keyboard.
    void present(const QString& query);
    /// Searches again, as after a change in the library.
    void refresh();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void search();
    void choose(bool copy);
    void dismiss();
    void openInLibrary();
    void moveSelection(int step);

    Actions actions_;
    QLineEdit* query_ = nullptr;
    QListWidget* results_ = nullptr;
    QLabel* status_ = nullptr;
    std::vector<SnippetSearchHit> hits_;
};

}  // namespace wordloom
