#pragma once

#include <QDialog>
#include <vector>

#include "core/library/SnippetVersion.h"

class QLabel;
class QListWidget;
class QPlainTextEdit;
class QPushButton;

namespace wordloom {

class SnippetStore;
class SnippetVersionStore;

/// A snippet's earlier versions, newest first, with when and why each was kept; the chosen
/// one's content compared line by line with the current content; and Restore, which keeps the
/// current state as a version first, as the store always does.
class LibraryVersionsDialog final : public QDialog {
  public:
    LibraryVersionsDialog(SnippetStore& store, SnippetVersionStore& versions, const Uuid& snippet,
                          QWidget* parent = nullptr);

    /// Reads the versions again.
    void reload();

  private:
    void showVersion(int row);
    void restoreChosen();

    SnippetStore& store_;
    SnippetVersionStore& versionStore_;
    Uuid snippet_;
    std::vector<SnippetVersion> versions_;
    QListWidget* list_ = nullptr;
    QPlainTextEdit* diff_ = nullptr;
    QLabel* summary_ = nullptr;
    QPushButton* restore_ = nullptr;
};

/// "Version of 21 Nov 2026 09:30 — Before edit", as the list shows a version.
QString versionTitle(const SnippetVersion& version);

}  // namespace wordloom
