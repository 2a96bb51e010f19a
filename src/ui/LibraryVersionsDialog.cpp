#include "ui/LibraryVersionsDialog.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTextBlock>
#include <QVBoxLayout>

#include "core/library/SnippetStore.h"
#include "core/library/SnippetVersionStore.h"
#include "core/library/TextDiff.h"

namespace wordloom {

QString versionTitle(const SnippetVersion& version) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(version.savedAt.time_since_epoch());
    const QString when = QLocale().toString(QDateTime::fromMSecsSinceEpoch(milliseconds.count()),
                                            QLocale::ShortFormat);
    const QString why = QString::fromStdString(version.changeDescription.value_or("Saved"));
    return when + QString::fromUtf8(" \u2014 ") + why;
}

LibraryVersionsDialog::LibraryVersionsDialog(SnippetStore& store, SnippetVersionStore& versions,
                                             const Uuid& snippet, QWidget* parent)
    : QDialog(parent), store_(store), versionStore_(versions), snippet_(snippet) {
    setObjectName("WordloomVersions");
    resize(720, 460);
    auto* layout = new QVBoxLayout(this);
    auto* splitter = new QSplitter(Qt::Horizontal);
    list_ = new QListWidget();
    list_->setObjectName("versionList");
    list_->setAccessibleName("Versions");
    diff_ = new QPlainTextEdit();
    diff_->setObjectName("versionDiff");
    diff_->setAccessibleName("Changes since this version");
    diff_->setReadOnly(true);
    diff_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    diff_->setLineWrapMode(QPlainTextEdit::NoWrap);
    splitter->addWidget(list_);
    splitter->addWidget(diff_);
    splitter->setStretchFactor(1, 2);
    layout->addWidget(splitter, 1);
    summary_ = new QLabel();
    summary_->setObjectName("versionSummary");
    summary_->setWordWrap(true);
    layout->addWidget(summary_);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    restore_ = buttons->addButton("&Restore This Version", QDialogButtonBox::ActionRole);
    restore_->setObjectName("restoreVersion");
    restore_->setAccessibleName("Restore this version");
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(restore_, &QPushButton::clicked, this, [this] { restoreChosen(); });
    connect(list_, &QListWidget::currentRowChanged, this, [this](int row) { showVersion(row); });
    reload();
}

void LibraryVersionsDialog::reload() {
    const Snippet* snippet = store_.snippet(snippet_);
    setWindowTitle("Versions of " + QString::fromStdString(snippet ? snippet->displayName()
                                                                   : std::string("snippet")));
    versions_ = versionStore_.versions(snippet_);
    list_->clear();
    for (const auto& version : versions_) {
        list_->addItem(versionTitle(version));
    }
    restore_->setEnabled(!versions_.empty());
    if (versions_.empty()) {
        diff_->clear();
        summary_->setText("No earlier versions yet: one is kept each time the snippet is changed.");
        return;
    }
    list_->setCurrentRow(0);
}

void LibraryVersionsDialog::showVersion(int row) {
    if (row < 0 || static_cast<std::size_t>(row) >= versions_.size()) {
        return;
    }
    const auto& version = versions_[static_cast<std::size_t>(row)];
    const Snippet* current = store_.snippet(snippet_);
    const std::string now = current ? current->content : std::string();
    QString text;
    for (const auto& line : diffLines(version.content, now)) {
        const char* mark = line.kind == DiffLine::Kind::same      ? "  "
                           : line.kind == DiffLine::Kind::removed ? "- "
                                                                  : "+ ";
        text += mark + QString::fromStdString(line.text) + "\n";
    }
    diff_->setPlainText(text);
    QStringList other;
    if (current && version.abbreviation != current->abbreviation) {
        other << "abbreviation \u201c" + QString::fromStdString(version.abbreviation) + "\u201d";
    }
    if (current && version.label != current->label) {
        other << "label \u201c" + QString::fromStdString(version.label) + "\u201d";
    }
    summary_->setText(
        "Lines marked \u201c-\u201d are only in this version, \u201c+\u201d only in "
        "the current content." +
        (other.isEmpty() ? QString() : "\nThis version also had the " + other.join(" and ") + "."));
}

void LibraryVersionsDialog::restoreChosen() {
    const int row = list_->currentRow();
    if (row < 0 || static_cast<std::size_t>(row) >= versions_.size()) {
        return;
    }
    try {
        store_.restoreVersion(versions_[static_cast<std::size_t>(row)]);
    } catch (const std::exception& error) {
        QMessageBox::warning(this, "Version not restored", QString::fromUtf8(error.what()));
        return;
    }
    reload();
}

}  // namespace wordloom
