#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QTest>
#include <QTreeWidget>

#include "OffscreenApplication.h"
#include "core/library/LibraryActions.h"
#include "core/library/StoreFixture.h"
#include "ui/LibraryGroupTree.h"
#include "ui/LibrarySnippetEditor.h"
#include "ui/LibrarySnippetModel.h"
#include "ui/LibraryVersionsDialog.h"
#include "ui/LibraryWindow.h"

namespace wordloom {
namespace {

class LibraryWindowTest : public test::StoreFixture {
  protected:
    LibraryWindowTest() {
        test::offscreenApplication();
        skipSeeding();
        hydrate();
        work = libraryActions::addGroup(*snippets, "Work", std::nullopt, executor.now()).created[0];
        sig = add(";sig", "Signature", "Best regards,\nAnn", work);
        addr = add(";addr", "Address", "1 Main Street", std::nullopt);
        window = std::make_unique<LibraryWindow>(LibraryWindowServices{
            executor, *snippets, *versions, *settings, *defaults, nullptr, nullptr});
        window->show();
        window->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(window.get()));
    }

    Uuid add(const std::string& abbreviation, const std::string& label, const std::string& content,
             std::optional<Uuid> group) {
        Snippet snippet;
        snippet.id = Uuid::random();
        snippet.abbreviation = abbreviation;
        snippet.label = label;
        snippet.content = content;
        snippet.groupId = group;
        snippets->add(snippet);
        return snippet.id;
    }

    template <typename Widget>
    Widget* find(const char* name) {
        auto* widget = window->findChild<Widget*>(name);
        EXPECT_NE(widget, nullptr) << name;
        return widget;
    }

    std::vector<std::string> listed() {
        std::vector<std::string> names;
        for (int row = 0; row < window->model().rowCount(); ++row) {
            names.push_back(window->model().snippetAt(row)->abbreviation);
        }
        return names;
    }

    void typeInto(QWidget* widget, const QString& text) {
        widget->setFocus();
        QTest::keyClicks(widget, text);
    }

    const Snippet& get(const Uuid& id) { return *snippets->snippet(id); }

    Uuid work;
    Uuid sig;
    Uuid addr;
    std::unique_ptr<LibraryWindow> window;
};

using Names = std::vector<std::string>;

TEST_F(LibraryWindowTest, SearchingFiltersTheListAndChoosingShowsTheEditor) {
    EXPECT_EQ(listed(), (Names{";addr", ";sig"}));
    typeInto(find<QLineEdit>("librarySearch"), "regards");
    EXPECT_EQ(listed(), (Names{";sig"}));
    // Enter goes to the list and chooses the first match.
    QTest::keyClick(find<QLineEdit>("librarySearch"), Qt::Key_Return);
    EXPECT_EQ(window->selectedIds(), std::vector<Uuid>{sig});
    EXPECT_EQ(find<QLineEdit>("label")->text(), "Signature");
    EXPECT_EQ(find<QPlainTextEdit>("content")->toPlainText(), "Best regards,\nAnn");

    // Choosing a group shows its snippets only.
    find<QLineEdit>("librarySearch")->clear();
    auto* tree = find<LibraryGroupTree>("groupTree");
    tree->setCurrentScope(LibraryScope::ungrouped());
    EXPECT_EQ(listed(), (Names{";addr"}));
    tree->setCurrentScope(LibraryScope::inGroup(work));
    EXPECT_EQ(listed(), (Names{";sig"}));
}

TEST_F(LibraryWindowTest, EditsAreCheckedLiveAndSavedThroughTheStore) {
    ASSERT_TRUE(window->select(addr));
    auto* abbreviation = find<QLineEdit>("abbreviation");
    auto* save = find<QPushButton>("save");
    abbreviation->selectAll();
    typeInto(abbreviation, ";sig");
    EXPECT_EQ(window->editor().verdictText().toStdString(),
              "This abbreviation is already used by: Signature");
    EXPECT_FALSE(save->isEnabled());
    QTest::keyClick(abbreviation, Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(get(addr).abbreviation, ";addr");  // refused: nothing written

    typeInto(abbreviation, "2");
    EXPECT_TRUE(window->editor().verdictText().isEmpty());
    QTest::keyClick(find<QPlainTextEdit>("content"), Qt::Key_End, Qt::ControlModifier);
    typeInto(find<QPlainTextEdit>("content"), ", Oslo");
    QTest::keyClick(abbreviation, Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(get(addr).abbreviation, ";sig2");
    EXPECT_EQ(get(addr).content, "1 Main Street, Oslo");
    EXPECT_EQ(versions->versions(addr).size(), 1u);  // the state before, as every edit keeps

    // A regex abbreviation is checked as the detector compiles it.
    abbreviation->selectAll();
    typeInto(abbreviation, "(open");
    find<QComboBox>("match")->setCurrentIndex(1);
    EXPECT_NE(window->editor().verdictText().indexOf("not a valid regular expression"), -1);
}

TEST_F(LibraryWindowTest, LeavingOrClosingSavesAndUnsavableEditsStayInTheEditor) {
    ASSERT_TRUE(window->select(sig));
    typeInto(find<QLineEdit>("label"), " (work)");
    ASSERT_TRUE(window->select(addr));  // leaving the snippet saves it
    EXPECT_EQ(get(sig).label, "Signature (work)");

    typeInto(find<QLineEdit>("label"), " home");
    window->close();
    EXPECT_EQ(get(addr).label, "Address home");

    // An abbreviation that can't be saved is kept, with its reason, for when it comes back.
    window->present(";addr");
    auto* abbreviation = find<QLineEdit>("abbreviation");
    abbreviation->clear();
    window->close();
    EXPECT_EQ(get(addr).abbreviation, ";addr");
    window->present();
    EXPECT_TRUE(window->editor().hasUnsavedChanges());
    EXPECT_FALSE(window->editor().verdictText().isEmpty());
}

TEST_F(LibraryWindowTest, ChangesMadeElsewhereShowUpWithoutLosingUnsavedEdits) {
    ASSERT_TRUE(window->select(sig));
    typeInto(find<QLineEdit>("label"), "!");
    const auto other = add(";new", "From the command line", "x", work);
    EXPECT_EQ(listed(), (Names{";addr", ";new", ";sig"}));
    EXPECT_EQ(find<QLineEdit>("label")->text(), "Signature!");
    EXPECT_EQ(window->selectedIds(), std::vector<Uuid>{sig});
    snippets->softDelete(other);
    EXPECT_EQ(listed(), (Names{";addr", ";sig"}));
}

TEST_F(LibraryWindowTest, DeleteMovesToRecentlyDeletedAndPutBackRestores) {
    ASSERT_TRUE(window->select(sig));
    auto* table = find<QTableView>("snippetList");
    table->setFocus();
    QTest::keyClick(table, Qt::Key_Delete);
    EXPECT_TRUE(get(sig).isDeleted());
    EXPECT_EQ(listed(), (Names{";addr"}));

    // Asking for a deleted snippet shows it where it is.
    EXPECT_FALSE(window->present(";addr").has_value());
    EXPECT_FALSE(window->present(";sig").has_value());
    EXPECT_EQ(window->selectedIds(), std::vector<Uuid>{sig});
    EXPECT_EQ(find<LibraryGroupTree>("groupTree")->currentScope(), LibraryScope::deleted());
    table->setFocus();
    QTest::keyClick(table, Qt::Key_R, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_FALSE(get(sig).isDeleted());

    EXPECT_EQ(window->present("nothing"),
              "No snippet has the id or abbreviation \u201cnothing\u201d.");
}

TEST_F(LibraryWindowTest, KeyboardMakesAndDuplicatesSnippets) {
    find<LibraryGroupTree>("groupTree")->setCurrentScope(LibraryScope::inGroup(work));
    QTest::keyClick(window.get(), Qt::Key_N, Qt::ControlModifier);
    ASSERT_EQ(snippets->snippets().size(), 3u);
    const auto made = window->selectedIds();
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(get(made[0]).abbreviation, ";new");
    EXPECT_EQ(get(made[0]).groupId, work);
    // The abbreviation field has the keyboard, its text chosen: typing replaces it.
    QTest::keyClicks(QApplication::focusWidget(), ";thanks");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_S, Qt::ControlModifier);
    EXPECT_EQ(get(made[0]).abbreviation, ";thanks");

    find<QTableView>("snippetList")->setFocus();
    QTest::keyClick(window.get(), Qt::Key_D, Qt::ControlModifier);
    EXPECT_EQ(snippets->snippets().size(), 4u);
    EXPECT_EQ(get(window->selectedIds().at(0)).label, "New Snippet Copy");
}

TEST_F(LibraryWindowTest, VersionsShowTheDifferenceAndRestore) {
    Snippet changed = get(sig);
    changed.content = "Kind regards,\nAnn";
    snippets->update(changed);
    LibraryVersionsDialog dialog(*snippets, *versions, sig);
    auto* list = dialog.findChild<QListWidget*>("versionList");
    ASSERT_EQ(list->count(), 1);
    EXPECT_NE(list->item(0)->text().indexOf("Before edit"), -1);
    EXPECT_EQ(dialog.findChild<QPlainTextEdit*>("versionDiff")->toPlainText(),
              "- Best regards,\n+ Kind regards,\n  Ann\n");
    dialog.findChild<QPushButton*>("restoreVersion")->click();
    EXPECT_EQ(get(sig).content, "Best regards,\nAnn");
    EXPECT_EQ(list->count(), 2);  // what was current is kept too
}

/// Drops `mime` on the tree's entry for `scope`, as a mouse drag ends there.
bool dropOn(LibraryGroupTree& tree, const LibraryScope& scope, QMimeData& mime) {
    tree.setCurrentScope(scope);
    return tree.drop(&mime, tree.currentItem());
}

TEST_F(LibraryWindowTest, GroupsTakeDroppedSnippetsAndGroupsAndAreRenamedInPlace) {
    auto* tree = find<LibraryGroupTree>("groupTree");
    const auto home =
        libraryActions::addGroup(*snippets, "Home", std::nullopt, executor.now()).created[0];
    tree->reload();

    QMimeData snippetsDragged;
    snippetsDragged.setData(snippetIdsMimeType, QByteArray::fromStdString(addr.toString()));
    EXPECT_TRUE(dropOn(*tree, LibraryScope::inGroup(home), snippetsDragged));
    EXPECT_EQ(get(addr).groupId, home);
    dropOn(*tree, LibraryScope::deleted(), snippetsDragged);
    EXPECT_TRUE(get(addr).isDeleted());

    QMimeData groupDragged;
    groupDragged.setData("application/x-wordloom-group-id",
                         QByteArray::fromStdString(home.toString()));
    EXPECT_FALSE(dropOn(*tree, LibraryScope::ungrouped(), groupDragged));
    EXPECT_TRUE(dropOn(*tree, LibraryScope::inGroup(work), groupDragged));
    EXPECT_EQ(snippets->group(home)->parentId, work);
    EXPECT_TRUE(dropOn(*tree, LibraryScope::all(), groupDragged));  // back to the top
    EXPECT_EQ(snippets->group(home)->parentId, std::nullopt);
}

TEST_F(LibraryWindowTest, F2RenamesAGroupInPlace) {
    auto* tree = find<LibraryGroupTree>("groupTree");
    // F2 on a group edits its name in place; Enter renames it in the library.
    tree->setCurrentScope(LibraryScope::inGroup(work));
    tree->setFocus();
    QTest::keyClick(tree, Qt::Key_F2);
    auto* editor = QApplication::focusWidget();
    ASSERT_NE(editor, tree);
    QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(editor, "Office");
    QTest::keyClick(editor, Qt::Key_Return);
    // The editor hands its text over, and the tree its rename, each a turn of the event loop later.
    QApplication::processEvents();
    QApplication::processEvents();
    EXPECT_EQ(snippets->group(work)->name, "Office");
    EXPECT_EQ(tree->currentScope(), LibraryScope::inGroup(work));
}

TEST_F(LibraryWindowTest, ListSortsByAnyColumnAndShowsDisabledSnippets) {
    libraryActions::setEnabled(*snippets, {addr}, false);
    auto& model = window->model();
    EXPECT_EQ(model.rowCount(), 2);
    model.sort(static_cast<int>(SnippetColumn::label), Qt::DescendingOrder);
    EXPECT_EQ(listed(), (Names{";sig", ";addr"}));
    EXPECT_EQ(model.data(model.index(1, static_cast<int>(SnippetColumn::type)), Qt::DisplayRole),
              "Plain Text");
    EXPECT_EQ(
        model.data(model.index(1, static_cast<int>(SnippetColumn::lastUsed)), Qt::DisplayRole),
        "Never");
    EXPECT_TRUE(model.data(model.index(1, 0), Qt::ToolTipRole).toString().startsWith("Disabled"));
}

}  // namespace
}  // namespace wordloom
