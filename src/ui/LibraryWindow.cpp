#include "ui/LibraryWindow.h"

#include <QAction>
#include <QCloseEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QItemSelectionModel>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QSplitter>
#include <QStatusBar>
#include <QTableView>
#include <QVBoxLayout>

#include "core/library/GroupTree.h"
#include "core/library/LibraryActions.h"
#include "core/library/SettingsStore.h"
#include "core/library/SnippetDraft.h"
#include "core/library/SnippetStore.h"
#include "ui/LibraryGroupTree.h"
#include "ui/LibraryMacroBuilder.h"
#include "ui/LibrarySnippetEditor.h"
#include "ui/LibrarySnippetModel.h"
#include "ui/LibraryVersionsDialog.h"
#include "ui/WindowPlacement.h"

namespace wordloom {

namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

/// An abbreviation no snippet uses yet, for a snippet made with Ctrl+N.
std::string freeAbbreviation(const SnippetStore& store) {
    std::string candidate = ";new";
    for (int number = 2;
         store.checkConflict(candidate, std::nullopt).kind != ConflictCheckResult::Kind::noConflict;
         ++number) {
        candidate = ";new" + std::to_string(number);
    }
    return candidate;
}

}  // namespace

LibraryWindow::LibraryWindow(LibraryWindowServices services) : services_(std::move(services)) {
    setObjectName("WordloomLibrary");
    setWindowTitle("Wordloom Library");
    setAccessibleName("Wordloom Library");
    resize(1270, 700);

    auto* splitter = new QSplitter(Qt::Horizontal);
    LibraryGroupTree::Actions treeActions;
    treeActions.moveGroup = [this](const Uuid& group, const std::optional<Uuid>& parent) {
        changeLibrary([&] {
            showResult("Group not moved",
                       libraryActions::moveGroup(services_.snippets, group, parent).errors);
        });
    };
    treeActions.renameGroup = [this](const Uuid& group, const QString& name) {
        // Later: the tree is in the middle of handing over the edited name.
        QMetaObject::invokeMethod(
            this,
            [this, group, name] {
                changeLibrary([&] {
                    const auto result =
                        libraryActions::renameGroup(services_.snippets, group, name.toStdString());
                    if (!result.ok()) {
                        groups_->reload();  // the name kept goes back in place
                    }
                    showResult("Group not renamed", result.errors);
                });
            },
            Qt::QueuedConnection);
    };
    treeActions.dropSnippets = [this](const std::vector<Uuid>& ids, const LibraryScope& target) {
        changeLibrary([&] { dropSnippets(ids, target); });
    };
    groups_ = new LibraryGroupTree(services_.snippets, std::move(treeActions));
    splitter->addWidget(groups_);

    auto* middle = new QWidget();
    auto* middleLayout = new QVBoxLayout(middle);
    middleLayout->setContentsMargins(0, 0, 0, 0);
    search_ = new QLineEdit();
    search_->setObjectName("librarySearch");
    search_->setAccessibleName("Search snippets");
    search_->setPlaceholderText("Search abbreviations, labels, tags and contents (Ctrl+F)");
    search_->setClearButtonEnabled(true);
    middleLayout->addWidget(search_);
    model_ = new LibrarySnippetModel(services_.snippets, this);
    table_ = new QTableView();
    table_->setObjectName("snippetList");
    table_->setAccessibleName("Snippets");
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->setSortingEnabled(true);
    table_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    table_->horizontalHeader()->setSortIndicatorClearable(true);
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    // One line of text a row, as lists in the desktop's style are.
    table_->verticalHeader()->setDefaultSectionSize(table_->fontMetrics().height() + 6);
    table_->setWordWrap(false);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setDragEnabled(true);
    table_->setDragDropMode(QAbstractItemView::DragOnly);
    table_->setAlternatingRowColors(true);
    // Widths that fit all six columns beside the editor at the window's first size.
    table_->setColumnWidth(0, 110);
    table_->setColumnWidth(1, 150);
    table_->setColumnWidth(2, 90);
    table_->setColumnWidth(3, 110);
    table_->setColumnWidth(4, 50);
    middleLayout->addWidget(table_, 1);
    splitter->addWidget(middle);

    editor_ = new LibrarySnippetEditor(services_.snippets);
    editor_->onShowVersions = [this] { showVersions(); };
    splitter->addWidget(editor_);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 3);
    splitter->setStretchFactor(2, 3);
    splitter->setSizes({190, 560, 520});
    setCentralWidget(splitter);
    status_ = new QLabel();
    status_->setObjectName("libraryStatus");
    statusBar()->addWidget(status_, 1);

    buildMenus();

    connect(search_, &QLineEdit::textChanged, this, [this](const QString& text) {
        model_->setQuery(text);
        updateActions();
    });
    connect(groups_, &QTreeWidget::currentItemChanged, this, [this] { scopeChanged(); });
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { currentSnippetChanged(); });
    connect(model_, &QAbstractItemModel::modelReset, this, [this] {
        if (!reloading_) {
            currentSnippetChanged();
        }
    });
    // Enter in the search field moves to the list; Down too.
    connect(search_, &QLineEdit::returnPressed, this, [this] {
        if (model_->rowCount() > 0) {
            table_->setFocus();
            if (!table_->selectionModel()->hasSelection()) {
                table_->selectRow(0);
            }
        }
    });

    snippetSubscription_ = services_.snippets.observeChanges([this] {
        if (!isVisible() && changing_ == 0) {
            // Every expansion counts a use: a closed window reads the library when shown again.
            stale_ = true;
            return;
        }
        if (changing_ > 0) {
            changePending_ = true;
        } else {
            libraryChanged();
        }
    });
    WindowPlacement(services_.defaults, "library").restore(*this);
    scopeChanged();
}

LibraryWindow::~LibraryWindow() = default;

void LibraryWindow::changeLibrary(const std::function<void()>& change) {
    ++changing_;
    change();
    --changing_;
    if (changing_ == 0) {
        flushLibraryChange();
    }
}

void LibraryWindow::flushLibraryChange() {
    if (changePending_) {
        changePending_ = false;
        libraryChanged();
    }
}

void LibraryWindow::buildMenus() {
    const auto action = [this](QMenu* menu, const QString& text, const QKeySequence& keys,
                               auto slot) {
        auto* made = menu->addAction(text);
        made->setShortcut(keys);
        connect(made, &QAction::triggered, this, [this, slot] { changeLibrary(slot); });
        return made;
    };
    auto* file = menuBar()->addMenu("&File");
    action(file, "&New Snippet", QKeySequence::New, [this] { newSnippet(); });
    action(file, "New &Group", QKeySequence("Ctrl+Shift+N"), [this] { newGroup(false); });
    action(file, "New S&ubgroup", QKeySequence(), [this] { newGroup(true); });
    file->addSeparator();
    if (services_.makeBackup) {
        action(file, "&Back Up Library\u2026", QKeySequence(), [this] { backup(); });
    }
    if (services_.restoreBackup) {
        action(file, "&Restore from Backup\u2026", QKeySequence(), [this] { restoreFromBackup(); });
    }
    file->addSeparator();
    action(file, "&Close", QKeySequence::Close, [this] { close(); });

    auto* edit = menuBar()->addMenu("&Edit");
    // Delete and F2 act on the list or the groups, whichever has the keyboard, and leave the
    // editor's fields alone.
    deleteAction_ = action(edit, "&Delete", QKeySequence::Delete, [this] { deleteSelection(); });
    deleteAction_->setShortcutContext(Qt::WidgetShortcut);
    table_->addAction(deleteAction_);
    duplicateAction_ =
        action(edit, "D&uplicate", QKeySequence("Ctrl+D"), [this] { duplicateSelection(); });
    enableAction_ = action(edit, "&Enable", QKeySequence(), [this] { setSelectionEnabled(true); });
    disableAction_ =
        action(edit, "D&isable", QKeySequence(), [this] { setSelectionEnabled(false); });
    tagAction_ = action(edit, "Add &Tag\u2026", QKeySequence("Ctrl+T"), [this] { tagSelection(); });
    moveAction_ =
        action(edit, "&Move to Group\u2026", QKeySequence("Ctrl+M"), [this] { moveSelection(); });
    versionsAction_ =
        action(edit, "&Versions\u2026", QKeySequence("Ctrl+Shift+V"), [this] { showVersions(); });
    edit->addSeparator();
    action(edit, "&Find", QKeySequence::Find, [this] {
        search_->setFocus();
        search_->selectAll();
    });
    auto* rename = new QAction("Rename", this);
    rename->setShortcut(QKeySequence(Qt::Key_F2));
    rename->setShortcutContext(Qt::WidgetShortcut);
    connect(rename, &QAction::triggered, this, [this] {
        // F2 on a snippet goes to its label, the name the list shows.
        if (auto* label = editor_->findChild<QLineEdit*>("label"); label && editor_->isEnabled()) {
            label->setFocus();
            label->selectAll();
        }
    });
    table_->addAction(rename);

    auto* groupMenu = menuBar()->addMenu("&Groups");
    groupRenameAction_ = action(groupMenu, "&Rename Group", QKeySequence(Qt::Key_F2), [this] {
        if (groups_->currentGroup()) {
            groups_->editItem(groups_->currentItem(), 0);
        }
    });
    groupRenameAction_->setShortcutContext(Qt::WidgetShortcut);
    groups_->addAction(groupRenameAction_);
    groupToggleAction_ =
        action(groupMenu, "&Disable Group", QKeySequence(), [this] { toggleCurrentGroup(); });
    groupDeleteAction_ =
        action(groupMenu, "De&lete Group", QKeySequence::Delete, [this] { deleteCurrentGroup(); });
    groupDeleteAction_->setShortcutContext(Qt::WidgetShortcut);
    groups_->addAction(groupDeleteAction_);

    auto* insert = menuBar()->addMenu("&Insert");
    insert->setObjectName("insertMenu");
    fillMacroMenu(
        *insert, this,
        [this] {
            std::vector<std::string> names;
            for (const auto& snippet : services_.snippets.snippets()) {
                if (!snippet.isDeleted() && snippet.contentType != ContentType::image) {
                    names.push_back(snippet.abbreviation);
                }
            }
            std::sort(names.begin(), names.end());
            return names;
        },
        [this](const BuiltMacro& macro) { editor_->insertMacro(macro); });

    auto* bin = menuBar()->addMenu("Recently &Deleted");
    restoreAction_ =
        action(bin, "&Put Back", QKeySequence("Ctrl+Shift+R"), [this] { restoreSelection(); });
    emptyAction_ = action(bin, "&Empty Recently Deleted\u2026", QKeySequence(),
                          [this] { emptyRecentlyDeleted(); });

    table_->setContextMenuPolicy(Qt::ActionsContextMenu);
    for (auto* entry : {duplicateAction_, enableAction_, disableAction_, tagAction_, moveAction_,
                        versionsAction_, restoreAction_}) {
        table_->addAction(entry);
    }
    groups_->setContextMenuPolicy(Qt::ActionsContextMenu);
    groups_->addAction(groupToggleAction_);
}

std::vector<Uuid> LibraryWindow::selectedIds() const {
    std::vector<Uuid> ids;
    for (const auto& index : table_->selectionModel()->selectedRows()) {
        if (const auto id = model_->idAt(index.row())) {
            ids.push_back(*id);
        }
    }
    return ids;
}

void LibraryWindow::updateActions() {
    const auto ids = selectedIds();
    const bool inBin = groups_->currentScope().kind == LibraryScope::Kind::recentlyDeleted;
    const bool any = !ids.empty();
    deleteAction_->setText(inBin ? "&Delete Permanently\u2026" : "&Delete");
    deleteAction_->setEnabled(any);
    for (auto* entry : {duplicateAction_, enableAction_, disableAction_, tagAction_, moveAction_}) {
        entry->setEnabled(any && !inBin);
    }
    versionsAction_->setEnabled(ids.size() == 1);
    restoreAction_->setEnabled(any && inBin);
    emptyAction_->setEnabled(std::any_of(services_.snippets.snippets().begin(),
                                         services_.snippets.snippets().end(),
                                         [](const Snippet& s) { return s.isDeleted(); }));
    const auto group = groups_->currentGroup();
    const SnippetGroup* held = group ? services_.snippets.group(*group) : nullptr;
    groupRenameAction_->setEnabled(held != nullptr);
    groupDeleteAction_->setEnabled(held != nullptr);
    groupToggleAction_->setEnabled(held != nullptr);
    groupToggleAction_->setText(held && !held->isEnabled ? "&Enable Group" : "&Disable Group");
    const int shown = model_->rowCount();
    status_->setText(ids.size() > 1 ? QString("%1 of %2 snippets chosen").arg(ids.size()).arg(shown)
                                    : QString("%1 snippets").arg(shown));
}

void LibraryWindow::libraryChanged() {
    const auto chosen = selectedIds();
    const QModelIndex current = table_->currentIndex();
    const std::optional<Uuid> currentId =
        current.isValid() ? model_->idAt(current.row()) : std::nullopt;
    reloading_ = true;
    model_->reload();
    groups_->reload();
    QItemSelection selection;
    for (const auto& id : chosen) {
        if (const int row = model_->rowOf(id); row >= 0) {
            selection.select(model_->index(row, 0), model_->index(row, model_->columnCount() - 1));
        }
    }
    table_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    if (currentId) {
        if (const int row = model_->rowOf(*currentId); row >= 0) {
            table_->selectionModel()->setCurrentIndex(model_->index(row, 0),
                                                      QItemSelectionModel::NoUpdate);
        }
    }
    reloading_ = false;
    if (versionsDialog_ && versionsDialog_->isVisible()) {
        versionsDialog_->reload();
    }
    currentSnippetChanged();
}

void LibraryWindow::scopeChanged() {
    changeLibrary([this] { editor_->commit(); });
    model_->setScope(groups_->currentScope());
    updateActions();
}

void LibraryWindow::currentSnippetChanged() {
    const auto ids = selectedIds();
    const std::optional<Uuid> chosen =
        ids.size() == 1 ? std::optional<Uuid>(ids.front()) : std::nullopt;
    if (chosen != shownSnippet_) {
        bool saved = true;
        changeLibrary([&] { saved = editor_->commit(); });
        if (!saved) {
            // The edits can't be saved as they are: keep them in view rather than lose them.
            const auto answer = QMessageBox::question(
                this, "Unsaved changes",
                "The changes to this snippet can't be saved: " + editor_->verdictText() +
                    "\n\nDiscard them?",
                QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Cancel);
            if (answer != QMessageBox::Discard) {
                if (shownSnippet_) {
                    select(*shownSnippet_);
                }
                return;
            }
        }
        shownSnippet_ = chosen;
        editor_->edit(chosen);
    } else {
        editor_->libraryChanged();
    }
    updateActions();
}

bool LibraryWindow::select(const Uuid& id) {
    flushLibraryChange();
    const Snippet* snippet = services_.snippets.snippet(id);
    if (!snippet) {
        return false;
    }
    if (model_->rowOf(id) < 0) {
        search_->clear();
        groups_->setCurrentScope(snippet->isDeleted() ? LibraryScope::deleted()
                                                      : LibraryScope::all());
    }
    const int row = model_->rowOf(id);
    if (row < 0) {
        return false;
    }
    // Not selectRow(): it heeds the modifiers held, and Ctrl+D would then add to the selection.
    const auto index = model_->index(row, 0);
    table_->selectionModel()->setCurrentIndex(
        index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    table_->scrollTo(index);
    return true;
}

std::optional<std::string> LibraryWindow::present(const std::string& snippet) {
    if (stale_) {
        stale_ = false;
        libraryChanged();
    }
    std::optional<std::string> problem;
    if (!snippet.empty()) {
        const auto id = Uuid::parse(snippet);
        const Snippet* found = id ? services_.snippets.snippet(*id) : nullptr;
        if (!found) {
            auto named = services_.snippets.snippetsWithAbbreviation(snippet);
            if (named.empty()) {
                // Not among the live snippets: perhaps in Recently Deleted.
                for (const auto& held : services_.snippets.snippets()) {
                    if (held.isDeleted() && held.abbreviation == snippet) {
                        named.push_back(&held);
                    }
                }
            }
            if (named.size() == 1) {
                found = named.front();
            } else if (named.size() > 1) {
                problem = "Several snippets have the abbreviation \u201c" + snippet + "\u201d.";
            }
        }
        if (found) {
            select(found->id);
        } else if (!problem) {
            problem = "No snippet has the id or abbreviation \u201c" + snippet + "\u201d.";
        }
    }
    show();
    setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    raise();
    activateWindow();
    if (snippet.empty()) {
        search_->setFocus();
    } else {
        table_->setFocus();
    }
    return problem;
}

void LibraryWindow::closeEvent(QCloseEvent* event) {
    // Edits that can be saved are; others stay in the editor for when the window comes back.
    changeLibrary([this] { editor_->commit(); });
    WindowPlacement(services_.defaults, "library").save(*this);
    QMainWindow::closeEvent(event);
}

void LibraryWindow::showResult(const QString& what, const std::vector<std::string>& errors) {
    // A message box runs the event loop: the lists must be up to date before anything draws.
    flushLibraryChange();
    if (errors.empty()) {
        return;
    }
    QString text;
    for (const auto& error : errors) {
        text += qt(error) + "\n";
    }
    QMessageBox::warning(this, what, text.trimmed());
}

void LibraryWindow::dropSnippets(const std::vector<Uuid>& ids, const LibraryScope& target) {
    editor_->commit();
    auto& store = services_.snippets;
    switch (target.kind) {
        case LibraryScope::Kind::group:
            showResult("Snippets not moved",
                       libraryActions::moveToGroup(store, ids, target.group).errors);
            break;
        case LibraryScope::Kind::ungrouped:
            showResult("Snippets not moved",
                       libraryActions::moveToGroup(store, ids, std::nullopt).errors);
            break;
        case LibraryScope::Kind::recentlyDeleted:
            showResult("Snippets not deleted",
                       libraryActions::moveToRecentlyDeleted(store, ids).errors);
            break;
        case LibraryScope::Kind::allSnippets:
            break;
    }
}

void LibraryWindow::newSnippet() {
    if (!editor_->commit()) {
        return;
    }
    SnippetDraft draft;
    draft.abbreviation = freeAbbreviation(services_.snippets);
    draft.label = "New Snippet";
    Snippet snippet = draft.toSnippet(services_.snippets.groups(), services_.settings.settings(),
                                      services_.executor.now());
    snippet.id = Uuid::random();
    snippet.groupId = groups_->currentGroup();
    if (groups_->currentScope().kind == LibraryScope::Kind::recentlyDeleted) {
        groups_->setCurrentScope(LibraryScope::all());
    }
    try {
        services_.snippets.add(snippet);
    } catch (const std::exception& error) {
        showResult("Snippet not made", {error.what()});
        return;
    }
    search_->clear();
    select(snippet.id);
    if (auto* field = editor_->findChild<QLineEdit*>("abbreviation")) {
        field->setFocus();
        field->selectAll();
    }
}

void LibraryWindow::newGroup(bool insideCurrent) {
    const auto parent = insideCurrent ? groups_->currentGroup() : std::nullopt;
    const auto result =
        libraryActions::addGroup(services_.snippets, "New Group", parent, services_.executor.now());
    showResult("Group not made", result.errors);
    if (!result.created.empty()) {
        flushLibraryChange();
        groups_->setCurrentScope(LibraryScope::inGroup(result.created.front()));
        groups_->setFocus();
        groups_->editItem(groups_->currentItem(), 0);
    }
}

void LibraryWindow::deleteSelection() {
    const auto ids = selectedIds();
    if (ids.empty()) {
        return;
    }
    if (groups_->currentScope().kind == LibraryScope::Kind::recentlyDeleted) {
        const auto answer = QMessageBox::question(
            this, "Delete permanently",
            QString("Delete %1 snippet(s) for good, with their images and versions? This can't be "
                    "undone.")
                .arg(ids.size()),
            QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
        if (answer == QMessageBox::Yes) {
            showResult("Snippets not deleted",
                       libraryActions::deletePermanently(services_.snippets, ids).errors);
        }
        return;
    }
    showResult("Snippets not deleted",
               libraryActions::moveToRecentlyDeleted(services_.snippets, ids).errors);
    status_->setText(QString("Moved %1 snippet(s) to Recently Deleted.").arg(ids.size()));
}

void LibraryWindow::duplicateSelection() {
    editor_->commit();
    const auto result = libraryActions::duplicate(services_.snippets, selectedIds());
    showResult("Snippets not duplicated", result.errors);
    if (result.created.size() == 1) {
        select(result.created.front());
    }
}

void LibraryWindow::setSelectionEnabled(bool enabled) {
    editor_->commit();
    showResult(enabled ? "Snippets not enabled" : "Snippets not disabled",
               libraryActions::setEnabled(services_.snippets, selectedIds(), enabled).errors);
}

void LibraryWindow::tagSelection() {
    const auto ids = selectedIds();
    bool ok = false;
    const QString tag = QInputDialog::getText(
        this, "Add Tag", "&Tag for the chosen snippets:", QLineEdit::Normal, QString(), &ok);
    if (ok) {
        editor_->commit();
        showResult("Tag not added",
                   libraryActions::addTag(services_.snippets, ids, tag.toStdString()).errors);
    }
}

void LibraryWindow::moveSelection() {
    const auto ids = selectedIds();
    QStringList names{"No group"};
    std::vector<std::optional<Uuid>> targets{std::nullopt};
    const GroupTree tree(services_.snippets.groups(), services_.snippets.snippets());
    for (const auto& node : tree.nodes()) {
        names << qt(tree.path(node.group->id));
        targets.push_back(node.group->id);
    }
    bool ok = false;
    const QString chosen =
        QInputDialog::getItem(this, "Move to Group", "&Group:", names, 0, false, &ok);
    const auto index = names.indexOf(chosen);
    if (ok && index >= 0) {
        editor_->commit();
        showResult("Snippets not moved",
                   libraryActions::moveToGroup(services_.snippets, ids,
                                               targets[static_cast<std::size_t>(index)])
                       .errors);
    }
}

void LibraryWindow::restoreSelection() {
    showResult("Snippets not put back",
               libraryActions::restore(services_.snippets, selectedIds()).errors);
}

void LibraryWindow::emptyRecentlyDeleted() {
    const auto answer = QMessageBox::question(
        this, "Empty Recently Deleted",
        "Delete every snippet in Recently Deleted for good, with their images and versions? This "
        "can't be undone.",
        QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
    if (answer == QMessageBox::Yes) {
        services_.snippets.emptyRecentlyDeleted();
    }
}

void LibraryWindow::deleteCurrentGroup() {
    const auto group = groups_->currentGroup();
    const SnippetGroup* held = group ? services_.snippets.group(*group) : nullptr;
    if (!held) {
        return;
    }
    const auto answer = QMessageBox::question(
        this, "Delete group",
        "Delete the group \u201c" + qt(held->name) +
            "\u201d? Its snippets stay in the library without a group, and the groups inside it "
            "move up.",
        QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
    if (answer == QMessageBox::Yes) {
        services_.snippets.deleteGroup(*group);
    }
}

void LibraryWindow::toggleCurrentGroup() {
    const auto group = groups_->currentGroup();
    if (const SnippetGroup* held = group ? services_.snippets.group(*group) : nullptr) {
        showResult(
            "Group not changed",
            libraryActions::setGroupEnabled(services_.snippets, *group, !held->isEnabled).errors);
    }
}

void LibraryWindow::showVersions() {
    const auto id = editor_->editedId();
    if (!id) {
        return;
    }
    editor_->commit();
    versionsDialog_ =
        std::make_unique<LibraryVersionsDialog>(services_.snippets, services_.versions, *id, this);
    versionsDialog_->show();
    versionsDialog_->raise();
    versionsDialog_->activateWindow();
}

void LibraryWindow::backup() {
    const QString file = QFileDialog::getSaveFileName(this, "Back Up Library",
                                                      "Wordloom Backup.json", "Backups (*.json)");
    if (file.isEmpty()) {
        return;
    }
    editor_->commit();
    try {
        status_->setText(qt(services_.makeBackup(file.toStdString())));
    } catch (const std::exception& error) {
        QMessageBox::warning(this, "Backup not made", qt(error.what()));
    }
}

void LibraryWindow::restoreFromBackup() {
    const QString file =
        QFileDialog::getOpenFileName(this, "Restore from Backup", QString(), "Backups (*.json)");
    if (file.isEmpty()) {
        return;
    }
    const auto answer = QMessageBox::question(
        this, "Restore from backup",
        "Replace the whole library and the preferences with the backup\u2019s? What is in the "
        "library now is replaced.",
        QMessageBox::Yes | QMessageBox::Cancel, QMessageBox::Cancel);
    if (answer != QMessageBox::Yes) {
        return;
    }
    try {
        status_->setText(qt(services_.restoreBackup(file.toStdString())));
    } catch (const std::exception& error) {
        QMessageBox::warning(this, "Library not restored", qt(error.what()));
    }
}

}  // namespace wordloom
