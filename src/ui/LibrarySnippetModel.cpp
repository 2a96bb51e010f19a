#include "ui/LibrarySnippetModel.h"

#include <QDateTime>
#include <QFont>
#include <QLocale>
#include <QMimeData>
#include <QPalette>
#include <QSet>

#include "core/library/SnippetStore.h"

namespace wordloom {

LibrarySnippetModel::LibrarySnippetModel(const SnippetStore& store, QObject* parent)
    : QAbstractTableModel(parent), store_(store) {
    listing_.rebuild(store_.snippets(), store_.groups());
}

void LibrarySnippetModel::relist(const std::function<void()>& change) {
    beginResetModel();
    change();
    endResetModel();
}

void LibrarySnippetModel::reload() {
    relist([this] { listing_.rebuild(store_.snippets(), store_.groups()); });
}

void LibrarySnippetModel::setScope(LibraryScope scope) {
    relist([&] { listing_.setScope(std::move(scope)); });
}

void LibrarySnippetModel::setQuery(const QString& query) {
    relist([&] { listing_.setQuery(query.toStdString()); });
}

const Snippet* LibrarySnippetModel::snippetAt(int row) const {
    if (row < 0 || static_cast<std::size_t>(row) >= listing_.rows().size()) {
        return nullptr;
    }
    return listing_.rows()[static_cast<std::size_t>(row)];
}

std::optional<Uuid> LibrarySnippetModel::idAt(int row) const {
    if (row < 0 || static_cast<std::size_t>(row) >= listing_.rowIds().size()) {
        return std::nullopt;
    }
    return listing_.rowIds()[static_cast<std::size_t>(row)];
}

int LibrarySnippetModel::rowOf(const Uuid& id) const {
    const auto row = listing_.rowOf(id);
    return row ? static_cast<int>(*row) : -1;
}

int LibrarySnippetModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(listing_.rows().size());
}

int LibrarySnippetModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : snippetColumnCount;
}

namespace {

QString lastUsedText(const std::optional<Timestamp>& lastUsed) {
    if (!lastUsed) {
        return QStringLiteral("Never");
    }
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(lastUsed->time_since_epoch());
    return QLocale().toString(QDateTime::fromMSecsSinceEpoch(milliseconds.count()),
                              QLocale::ShortFormat);
}

}  // namespace

QVariant LibrarySnippetModel::data(const QModelIndex& index, int role) const {
    const Snippet* snippet = snippetAt(index.row());
    if (!snippet) {
        return {};
    }
    if (role == idRole) {
        return QString::fromStdString(snippet->id.toString());
    }
    if (role == Qt::DisplayRole || role == Qt::AccessibleTextRole) {
        switch (static_cast<SnippetColumn>(index.column())) {
            case SnippetColumn::abbreviation:
                return QString::fromStdString(snippet->abbreviation);
            case SnippetColumn::label:
                return QString::fromStdString(snippet->label);
            case SnippetColumn::type:
                return QString::fromStdString(contentTypeTitle(snippet->contentType));
            case SnippetColumn::trigger:
                return QString::fromStdString(triggerModeTitle(snippet->triggerMode));
            case SnippetColumn::uses:
                return QLocale().toString(static_cast<qlonglong>(snippet->useCount));
            case SnippetColumn::lastUsed:
                return lastUsedText(snippet->lastUsedAt);
        }
    }
    if (role == Qt::TextAlignmentRole &&
        static_cast<SnippetColumn>(index.column()) == SnippetColumn::uses) {
        return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
    }
    if (role == Qt::ForegroundRole && !snippet->isEnabled) {
        // Disabled snippets read as such in any theme.
        return QPalette().brush(QPalette::Disabled, QPalette::Text);
    }
    if (role == Qt::ToolTipRole && !snippet->isEnabled) {
        return QStringLiteral("Disabled: this snippet does not expand.");
    }
    return {};
}

QVariant LibrarySnippetModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    static const char* const titles[] = {"Abbreviation", "Label", "Type",
                                         "Trigger",      "Uses",  "Last Used"};
    return section >= 0 && section < snippetColumnCount ? QString(titles[section]) : QVariant();
}

void LibrarySnippetModel::sort(int column, Qt::SortOrder order) {
    relist([&] {
        if (column < 0 || column >= snippetColumnCount) {
            listing_.setSort(std::nullopt, true);
        } else {
            listing_.setSort(static_cast<SnippetColumn>(column), order == Qt::AscendingOrder);
        }
    });
}

Qt::ItemFlags LibrarySnippetModel::flags(const QModelIndex& index) const {
    auto flags = QAbstractTableModel::flags(index);
    if (index.isValid()) {
        flags |= Qt::ItemIsDragEnabled;
    }
    return flags;
}

QStringList LibrarySnippetModel::mimeTypes() const {
    return {snippetIdsMimeType};
}

QMimeData* LibrarySnippetModel::mimeData(const QModelIndexList& indexes) const {
    QSet<int> rows;
    QStringList ids;
    for (const auto& index : indexes) {
        if (const auto id = idAt(index.row()); id && !rows.contains(index.row())) {
            rows.insert(index.row());
            ids << QString::fromStdString(id->toString());
        }
    }
    auto* data = new QMimeData;
    data->setData(snippetIdsMimeType, ids.join('\n').toUtf8());
    return data;
}

}  // namespace wordloom
