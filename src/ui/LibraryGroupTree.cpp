#include "ui/LibraryGroupTree.h"

#include <QDropEvent>
#include <QHeaderView>
#include <QMimeData>
#include <QSignalBlocker>

#include "core/library/GroupTree.h"
#include "core/library/SnippetStore.h"
#include "ui/LibrarySnippetModel.h"

namespace wordloom {

namespace {

constexpr const char* groupIdMimeType = "application/x-wordloom-group-id";
constexpr int kindRole = Qt::UserRole + 1;
constexpr int groupRole = Qt::UserRole + 2;
constexpr int nameRole = Qt::UserRole + 3;

QTreeWidgetItem* counted(QTreeWidgetItem* item, const QString& title, std::size_t count) {
    item->setText(0, title);
    item->setText(1, QString::number(count));
    item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    // A screen reader reads the name with its count.
    item->setData(0, Qt::AccessibleTextRole, QString("%1, %2 snippets").arg(title).arg(count));
    return item;
}

std::vector<Uuid> idsIn(const QByteArray& data) {
    std::vector<Uuid> ids;
    for (const auto& line : data.split('\n')) {
        if (auto id = Uuid::parse(line.toStdString())) {
            ids.push_back(*id);
        }
    }
    return ids;
}

}  // namespace

LibraryGroupTree::LibraryGroupTree(const SnippetStore& store, Actions actions, QWidget* parent)
    : QTreeWidget(parent), store_(store), actions_(std::move(actions)) {
    setObjectName("groupTree");
    setAccessibleName("Groups");
    setHeaderHidden(true);
    setColumnCount(2);  // the name, and the number of snippets
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(0, QHeaderView::Stretch);
    header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    setDragEnabled(true);
    setAcceptDrops(true);
    setDropIndicatorShown(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setEditTriggers(QAbstractItemView::EditKeyPressed);
    setSelectionMode(QAbstractItemView::SingleSelection);
    connect(this, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item, int) {
        if (reloading_ || scopeOf(item).kind != LibraryScope::Kind::group) {
            return;
        }
        const QString name = item->text(0);
        if (name != item->data(0, nameRole).toString() && actions_.renameGroup) {
            actions_.renameGroup(*scopeOf(item).group, name);
        }
    });
    connect(this, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item, int) {
        if (scopeOf(item).kind == LibraryScope::Kind::group) {
            editItem(item, 0);
        }
    });
    reload();
}

LibraryScope LibraryGroupTree::scopeOf(const QTreeWidgetItem* item) {
    if (!item) {
        return LibraryScope::all();
    }
    const auto kind = static_cast<LibraryScope::Kind>(item->data(0, kindRole).toInt());
    LibraryScope scope{kind, std::nullopt};
    if (kind == LibraryScope::Kind::group) {
        scope.group = Uuid::parse(item->data(0, groupRole).toString().toStdString());
    }
    return scope;
}

QTreeWidgetItem* LibraryGroupTree::itemFor(const LibraryScope& scope) const {
    for (QTreeWidgetItemIterator it(const_cast<LibraryGroupTree*>(this)); *it; ++it) {
        if (scopeOf(*it) == scope) {
            return *it;
        }
    }
    return nullptr;
}

void LibraryGroupTree::reload() {
    const LibraryScope chosen = currentScope();
    reloading_ = true;
    // Rebuilding is not choosing: the window hears of a change of entry only when the chosen
    // one is gone.
    const QSignalBlocker quiet(this);
    clear();
    const GroupTree tree(store_.groups(), store_.snippets());
    std::size_t live = 0;
    std::size_t deleted = 0;
    for (const auto& snippet : store_.snippets()) {
        (snippet.isDeleted() ? deleted : live) += 1;
    }
    const auto addFixed = [this](const QString& title, LibraryScope::Kind kind, std::size_t count) {
        auto* item = counted(new QTreeWidgetItem(this), title, count);
        item->setData(0, kindRole, static_cast<int>(kind));
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDropEnabled);
        return item;
    };
    addFixed("All Snippets", LibraryScope::Kind::allSnippets, live);
    const std::function<void(QTreeWidgetItem*, std::size_t)> addGroup = [&](QTreeWidgetItem* parent,
                                                                            std::size_t index) {
        const auto& node = tree.nodes()[index];
        const QString name = QString::fromStdString(node.group->name);
        auto* item = counted(parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(this), name,
                             node.totalSnippetCount);
        item->setData(0, kindRole, static_cast<int>(LibraryScope::Kind::group));
        item->setData(0, groupRole, QString::fromStdString(node.group->id.toString()));
        item->setData(0, nameRole, name);
        item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable |
                       Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled);
        if (node.effectivelyDisabled) {
            item->setForeground(0, palette().brush(QPalette::Disabled, QPalette::Text));
            item->setForeground(1, palette().brush(QPalette::Disabled, QPalette::Text));
            item->setToolTip(0, "Disabled: its snippets do not expand.");
        }
        for (const auto child : node.children) {
            addGroup(item, child);
        }
    };
    for (const auto root : tree.roots()) {
        addGroup(nullptr, root);
    }
    addFixed("Ungrouped", LibraryScope::Kind::ungrouped, tree.ungroupedCount());
    addFixed("Recently Deleted", LibraryScope::Kind::recentlyDeleted, deleted);
    expandAll();
    setCurrentScope(chosen);
    reloading_ = false;
    if (currentScope() != chosen) {
        Q_EMIT currentItemChanged(currentItem(), nullptr);
    }
}

LibraryScope LibraryGroupTree::currentScope() const {
    return scopeOf(currentItem());
}

void LibraryGroupTree::setCurrentScope(const LibraryScope& scope) {
    QTreeWidgetItem* item = itemFor(scope);
    setCurrentItem(item ? item : topLevelItem(0));
}

std::optional<Uuid> LibraryGroupTree::currentGroup() const {
    return currentScope().group;
}

QStringList LibraryGroupTree::mimeTypes() const {
    return {groupIdMimeType, snippetIdsMimeType};
}

QMimeData* LibraryGroupTree::mimeData(const QList<QTreeWidgetItem*>& items) const {
    QStringList ids;
    for (const auto* item : items) {
        if (const auto scope = scopeOf(item); scope.group) {
            ids << QString::fromStdString(scope.group->toString());
        }
    }
    auto* dragged = new QMimeData;
    dragged->setData(groupIdMimeType, ids.join('\n').toUtf8());
    return dragged;
}

Qt::DropActions LibraryGroupTree::supportedDropActions() const {
    return Qt::MoveAction;
}

bool LibraryGroupTree::accepts(const QMimeData* dragged, const QTreeWidgetItem* target) const {
    const auto scope = scopeOf(target);
    if (dragged->hasFormat(groupIdMimeType)) {
        // A group goes under another group, or to the top when dropped on All Snippets.
        return !target || scope.kind == LibraryScope::Kind::group ||
               scope.kind == LibraryScope::Kind::allSnippets;
    }
    return target && dragged->hasFormat(snippetIdsMimeType) &&
           scope.kind != LibraryScope::Kind::allSnippets;
}

void LibraryGroupTree::dragMoveEvent(QDragMoveEvent* event) {
    QTreeWidget::dragMoveEvent(event);
    const bool ok = accepts(event->mimeData(), itemAt(event->position().toPoint()));
    if (ok) {
        event->setDropAction(Qt::MoveAction);
        event->accept();
    } else {
        event->ignore();
    }
}

void LibraryGroupTree::dropEvent(QDropEvent* event) {
    // The drag is over whatever happens next: the view goes back to taking clicks and keys.
    stopAutoScroll();
    setState(NoState);
    viewport()->update();
    if (!drop(event->mimeData(), itemAt(event->position().toPoint()))) {
        event->ignore();
        return;
    }
    // The library does the moving; the tree is rebuilt from it when it announces the change.
    event->setDropAction(Qt::IgnoreAction);
    event->accept();
}

bool LibraryGroupTree::drop(const QMimeData* dropped, QTreeWidgetItem* target) {
    if (!accepts(dropped, target)) {
        return false;
    }
    const auto scope = scopeOf(target);
    if (dropped->hasFormat(groupIdMimeType)) {
        for (const auto& group : idsIn(dropped->data(groupIdMimeType))) {
            if (actions_.moveGroup) {
                actions_.moveGroup(group, scope.group);
            }
        }
    } else if (actions_.dropSnippets) {
        actions_.dropSnippets(idsIn(dropped->data(snippetIdsMimeType)), scope);
    }
    return true;
}

}  // namespace wordloom
