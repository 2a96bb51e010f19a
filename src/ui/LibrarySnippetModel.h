#pragma once

#include <QAbstractTableModel>
#include <vector>

#include "core/library/SnippetListing.h"

namespace wordloom {

class SnippetStore;

/// The library window's snippet list as a Qt model over SnippetListing: one row per listed
/// snippet, the columns abbreviation, label, type, trigger, uses and last used. Rows are drawn
/// on demand, so ten thousand snippets cost no widgets. Sorting asks the listing; clicking the
/// same header a third time goes back to the search's own order.
class LibrarySnippetModel final : public QAbstractTableModel {
  public:
    /// The id of a row's snippet, as text, under this role.
    static constexpr int idRole = Qt::UserRole + 1;

    explicit LibrarySnippetModel(const SnippetStore& store, QObject* parent = nullptr);

    /// Reads the library again (after any change announced by the store).
    void reload();
    void setScope(LibraryScope scope);
    void setQuery(const QString& query);
    const SnippetListing& listing() const { return listing_; }

    /// The row's snippet. Valid until the library changes; the window reloads the model
    /// before anything is drawn again.
    const Snippet* snippetAt(int row) const;
    /// The row's snippet's id, safe to ask at any time.
    std::optional<Uuid> idAt(int row) const;
    int rowOf(const Uuid& id) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;

  private:
    void relist(const std::function<void()>& change);

    const SnippetStore& store_;
    SnippetListing listing_;
};

/// The MIME type of snippet ids dragged from the list onto a group.
inline constexpr const char* snippetIdsMimeType = "application/x-wordloom-snippet-ids";

}  // namespace wordloom
