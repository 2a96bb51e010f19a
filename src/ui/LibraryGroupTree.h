#pragma once

#include <QTreeWidget>
#include <functional>
#include <optional>

#include "core/library/SnippetListing.h"

namespace wordloom {

class SnippetStore;

/// The library window's left column: All Snippets, the nested groups with their snippet
/// counts, Ungrouped, and Recently Deleted. Groups are renamed in place (F2), and dragged onto
/// another group (or the top) to move them; snippets dragged from the list onto a group move
/// into it, onto Ungrouped out of their group, onto Recently Deleted into the bin.
class LibraryGroupTree final : public QTreeWidget {
  public:
    struct Actions {
        std::function<void(const Uuid& group, const std::optional<Uuid>& newParent)> moveGroup;
        std::function<void(const std::vector<Uuid>& snippets, const LibraryScope& target)>
            dropSnippets;
        std::function<void(const Uuid& group, const QString& name)> renameGroup;
    };

    explicit LibraryGroupTree(const SnippetStore& store, Actions actions,
                              QWidget* parent = nullptr);

    /// Builds the entries again from the library, keeping the chosen one.
    void reload();
    LibraryScope currentScope() const;
    void setCurrentScope(const LibraryScope& scope);
    /// The chosen group, when a group is chosen.
    std::optional<Uuid> currentGroup() const;
    /// What a drop of `dropped` on `target` does (dropEvent's work); false when refused.
    bool drop(const QMimeData* dropped, QTreeWidgetItem* target);

  protected:
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QList<QTreeWidgetItem*>& items) const override;
    Qt::DropActions supportedDropActions() const override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    static LibraryScope scopeOf(const QTreeWidgetItem* item);
    QTreeWidgetItem* itemFor(const LibraryScope& scope) const;
    bool accepts(const QMimeData* dragged, const QTreeWidgetItem* target) const;

    const SnippetStore& store_;
    Actions actions_;
    bool reloading_ = false;
};

}  // namespace wordloom
