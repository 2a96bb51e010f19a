#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/library/SnippetDraft.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

namespace wordloom {

/// The New Snippet panel: abbreviation, label, content, group and content type. The
/// abbreviation is checked as it is typed, the way the library checks it: a refusal keeps Save
/// off and says why, a clash in letter case only is a warning. Enter (Ctrl+Enter in the content)
/// saves, Escape cancels.
class QuickCreatePanel final : public QWidget {
  public:
    struct Actions {
        std::function<AbbreviationVerdict(const SnippetDraft&)> check;
        /// Saves; returns the message to show when the library refused the snippet.
        std::function<std::optional<std::string>(const SnippetDraft&)> save;
        /// After the panel has hidden, saved or not.
        std::function<void()> closed;
    };

    explicit QuickCreatePanel(Actions actions);

    /// Shows the panel filled in with `draft`, offering `groupNames`.
    void present(const SnippetDraft& draft, const std::vector<std::string>& groupNames);

    SnippetDraft draft() const;
    void save();
    void cancel();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void recheck();
    void finish();

    Actions actions_;
    QLineEdit* abbreviation_ = nullptr;
    QLabel* verdict_ = nullptr;
    QLineEdit* label_ = nullptr;
    QPlainTextEdit* content_ = nullptr;
    QComboBox* group_ = nullptr;
    QComboBox* type_ = nullptr;
    QPushButton* saveButton_ = nullptr;
    bool open_ = false;
};

}  // namespace wordloom
