#pragma once

#include <QWidget>
#include <functional>
#include <optional>

#include "core/library/MacroSyntax.h"
#include "core/library/Snippet.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;
class QTextBrowser;

namespace wordloom {

class SnippetStore;

/// The editor beside the snippet list: every field of one snippet, checked as the store and the
/// command line check them while you type, and saved through the store (Ctrl+S, or by leaving
/// the snippet). Edits the store cannot take stay in the editor with the reason shown, so that
/// nothing typed is lost; a change of the library made elsewhere refreshes the fields unless
/// they hold unsaved edits.
class LibrarySnippetEditor final : public QWidget {
  public:
    explicit LibrarySnippetEditor(SnippetStore& store, QWidget* parent = nullptr);

    /// Shows `id`'s snippet (none: an empty, disabled editor). Unsaved edits of the snippet
    /// shown before are the caller's to commit first.
    void edit(std::optional<Uuid> id);
    std::optional<Uuid> editedId() const { return id_; }
    /// The snippet as the fields have it.
    Snippet edited() const;
    bool hasUnsavedChanges() const;
    /// Saves unsaved edits. Returns false, with the reason shown, when they can't be saved.
    bool commit();
    /// Puts the fields back as the library has them.
    void revert();
    /// The library changed: refreshes the group list, and the fields when nothing is unsaved.
    void libraryChanged();
    /// The reason shown under the abbreviation ("" when none).
    QString verdictText() const;
    /// Inserts a macro at the content's caret (the macro builder), the caret left where the
    /// macro wants it (inside a section).
    void insertMacro(const BuiltMacro& macro);

    std::function<void()> onSaved;
    std::function<void()> onShowVersions;

  private:
    void fill(const Snippet& snippet);
    void recheck();
    void contentTypeChanged();
    void refreshGroups();
    QWidget* buildContentArea();

    SnippetStore& store_;
    std::optional<Uuid> id_;
    Snippet shown_;  // the snippet as saved when it was shown
    bool filling_ = false;

    QLineEdit* abbreviation_ = nullptr;
    QLabel* verdict_ = nullptr;
    QLineEdit* label_ = nullptr;
    QComboBox* group_ = nullptr;
    QLineEdit* tags_ = nullptr;
    QComboBox* trigger_ = nullptr;
    QComboBox* case_ = nullptr;
    QComboBox* match_ = nullptr;
    QComboBox* appFilter_ = nullptr;
    QLineEdit* apps_ = nullptr;
    QCheckBox* enabled_ = nullptr;
    QComboBox* type_ = nullptr;
    QComboBox* language_ = nullptr;
    QStackedWidget* contentPages_ = nullptr;
    QPlainTextEdit* content_ = nullptr;
    QTextBrowser* markdownPreview_ = nullptr;
    QLabel* fixedContent_ = nullptr;
    QPushButton* save_ = nullptr;
    QPushButton* revert_ = nullptr;
};

}  // namespace wordloom
