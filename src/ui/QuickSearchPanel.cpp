#include "ui/QuickSearchPanel.h"

#include <QApplication>
#include <QFrame>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/PanelPlacement.h"

namespace wordloom {

namespace {

constexpr std::size_t maximumRows = 50;

enum Role { abbreviationRole = Qt::UserRole + 1, labelRole, groupRole, previewRole };

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

/// Two lines a row: the abbreviation in bold and the label, the group at the right; the first
/// line of the content below in the palette's quieter text colour.
class HitDelegate final : public QStyledItemDelegate {
  public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        const int line = option.fontMetrics.height();
        return {option.rect.width(), line * 2 + line / 2 + 6};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem background = option;
        initStyleOption(&background, index);
        background.text.clear();
        QStyle* style = option.widget ? option.widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &background, painter, option.widget);

        const bool selected = option.state & QStyle::State_Selected;
        const QPalette& palette = option.palette;
        const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
        QColor quiet = selected ? text : palette.color(QPalette::PlaceholderText);
        const QRect area = option.rect.adjusted(8, 3, -8, -3);
        const int line = option.fontMetrics.height();

        painter->save();
        QFont bold = option.font;
        bold.setBold(true);
        const QString abbreviation = index.data(abbreviationRole).toString();
        const QString label = index.data(labelRole).toString();
        const QString group = index.data(groupRole).toString();
        const QFontMetrics boldMetrics(bold);
        const int groupWidth =
            group.isEmpty()
                ? 0
                : std::min(option.fontMetrics.horizontalAdvance(group) + 12, area.width() / 3);
        QRect first(area.x(), area.y(), area.width() - groupWidth, line);
        painter->setFont(bold);
        painter->setPen(text);
        const QString shownAbbreviation =
            boldMetrics.elidedText(abbreviation, Qt::ElideRight, first.width() / 2);
        painter->drawText(first, Qt::AlignLeft | Qt::AlignVCenter, shownAbbreviation);
        const int labelStart = boldMetrics.horizontalAdvance(shownAbbreviation) + 12;
        painter->setFont(option.font);
        painter->drawText(
            first.adjusted(labelStart, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter,
            option.fontMetrics.elidedText(label, Qt::ElideRight, first.width() - labelStart));
        if (groupWidth > 0) {
            painter->setPen(quiet);
            painter->drawText(QRect(area.right() - groupWidth, area.y(), groupWidth, line),
                              Qt::AlignRight | Qt::AlignVCenter,
                              option.fontMetrics.elidedText(group, Qt::ElideRight, groupWidth));
        }
        painter->setPen(quiet);
        painter->drawText(QRect(area.x(), area.y() + line + line / 4, area.width(), line),
                          Qt::AlignLeft | Qt::AlignVCenter,
                          option.fontMetrics.elidedText(index.data(previewRole).toString(),
                                                        Qt::ElideRight, area.width()));
        painter->restore();
    }
};

}  // namespace

QuickSearchPanel::QuickSearchPanel(Actions actions)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      actions_(std::move(actions)) {
    setObjectName("WordloomQuickSearch");
    setWindowTitle("Wordloom Quick Search");
    setAccessibleName("Quick Search");
    setAttribute(Qt::WA_ShowWithoutActivating, false);
    resize(640, 420);

    // Without a window frame the panel draws its own edge, in the style's colours, so that it
    // stands out from a window of the same colour behind it.
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* frame = new QFrame();
    frame->setFrameStyle(QFrame::StyledPanel | QFrame::Raised);
    outer->addWidget(frame);
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(10, 10, 10, 8);
    query_ = new QLineEdit();
    query_->setObjectName("query");
    query_->setPlaceholderText("Search abbreviations, labels, tags and content");
    query_->setAccessibleName("Search snippets");
    query_->setClearButtonEnabled(true);
    QFont larger = query_->font();
    larger.setPointSizeF(larger.pointSizeF() * 1.3);
    query_->setFont(larger);
    layout->addWidget(query_);

    results_ = new QListWidget();
    results_->setObjectName("results");
    results_->setAccessibleName("Matching snippets");
    results_->setItemDelegate(new HitDelegate(results_));
    results_->setUniformItemSizes(true);
    results_->setFocusPolicy(Qt::NoFocus);  // the keys stay in the search field
    results_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    layout->addWidget(results_, 1);

    status_ = new QLabel();
    status_->setObjectName("status");
    status_->setForegroundRole(QPalette::PlaceholderText);
    status_->setText(
        "Enter expands \u00b7 Ctrl+Enter copies \u00b7 Ctrl+E edits \u00b7 Esc closes");
    layout->addWidget(status_);

    query_->installEventFilter(this);
    QObject::connect(query_, &QLineEdit::textChanged, this, [this] { search(); });
    QObject::connect(results_, &QListWidget::itemActivated, this, [this] { choose(false); });
    QObject::connect(results_, &QListWidget::itemClicked, this, [this] { choose(false); });
}

void QuickSearchPanel::present(const QString& query) {
    if (query_->text() == query) {
        search();
    } else {
        query_->setText(query);
    }
    query_->selectAll();
    centreOnScreenWithMouse(*this);
    show();
    raise();
    activateWindow();
    query_->setFocus();
}

void QuickSearchPanel::refresh() {
    if (isVisible()) {
        search();
    }
}

void QuickSearchPanel::search() {
    hits_ = actions_.search ? actions_.search(query_->text().toStdString())
                            : std::vector<SnippetSearchHit>{};
    if (hits_.size() > maximumRows) {
        hits_.resize(maximumRows);
    }
    results_->clear();
    for (const auto& hit : hits_) {
        auto* item = new QListWidgetItem();
        item->setData(abbreviationRole, qt(hit.abbreviation));
        item->setData(labelRole, qt(hit.label));
        item->setData(groupRole, qt(hit.groupName));
        item->setData(previewRole, qt(hit.preview));
        QString spoken = qt(hit.abbreviation);
        if (!hit.label.empty()) {
            spoken += ", " + qt(hit.label);
        }
        if (!hit.groupName.empty()) {
            spoken += ", in " + qt(hit.groupName);
        }
        item->setData(Qt::DisplayRole, spoken);
        item->setData(Qt::AccessibleTextRole, spoken);
        item->setData(Qt::AccessibleDescriptionRole, qt(hit.preview));
        results_->addItem(item);
    }
    if (!hits_.empty()) {
        results_->setCurrentRow(0);
    }
    status_->setText(
        hits_.empty() && !query_->text().isEmpty()
            ? "No snippet matches \u201c" + query_->text() + "\u201d."
            : "Enter expands \u00b7 Ctrl+Enter copies \u00b7 Ctrl+E edits \u00b7 Esc closes");
}

void QuickSearchPanel::moveSelection(int step) {
    const int count = results_->count();
    if (count == 0) {
        return;
    }
    const int row = std::clamp(results_->currentRow() + step, 0, count - 1);
    results_->setCurrentRow(row);
}

bool QuickSearchPanel::eventFilter(QObject* watched, QEvent* event) {
    // The search field keeps the keyboard; the panel takes the keys that choose and move.
    if (watched == query_ && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape || key == Qt::Key_Return || key == Qt::Key_Enter ||
            key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_PageUp ||
            key == Qt::Key_PageDown ||
            (key == Qt::Key_E &&
             static_cast<QKeyEvent*>(event)->modifiers() & Qt::ControlModifier)) {
            keyPressEvent(static_cast<QKeyEvent*>(event));
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void QuickSearchPanel::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Escape:
            dismiss();
            return;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            choose(event->modifiers() & Qt::ControlModifier);
            return;
        case Qt::Key_Down:
            moveSelection(1);
            return;
        case Qt::Key_Up:
            moveSelection(-1);
            return;
        case Qt::Key_PageDown:
            moveSelection(8);
            return;
        case Qt::Key_PageUp:
            moveSelection(-8);
            return;
        case Qt::Key_E:
            if (event->modifiers() & Qt::ControlModifier) {
                openInLibrary();
                return;
            }
            QWidget::keyPressEvent(event);
            return;
        default:
            QWidget::keyPressEvent(event);
    }
}

bool QuickSearchPanel::event(QEvent* event) {
    // Clicking elsewhere closes the panel, as a menu closes, without taking focus anywhere.
    if (event->type() == QEvent::WindowDeactivate && isVisible()) {
        hide();
    }
    return QWidget::event(event);
}

void QuickSearchPanel::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    // The rows hold copies of what they show; an idle Wordloom keeps none of them.
    results_->clear();
    hits_.clear();
    if (actions_.hidden) {
        actions_.hidden();
    }
}

void QuickSearchPanel::choose(bool copy) {
    const int row = results_->currentRow();
    if (row < 0 || row >= static_cast<int>(hits_.size())) {
        return;
    }
    const Uuid id = hits_[static_cast<std::size_t>(row)].id;
    hide();
    const auto& action = copy ? actions_.copy : actions_.expand;
    if (action) {
        action(id);
    }
}

void QuickSearchPanel::openInLibrary() {
    const int row = results_->currentRow();
    if (row < 0 || row >= static_cast<int>(hits_.size()) || !actions_.openInLibrary) {
        return;
    }
    const Uuid id = hits_[static_cast<std::size_t>(row)].id;
    hide();
    actions_.openInLibrary(id);
}

void QuickSearchPanel::dismiss() {
    hide();
    if (actions_.dismissed) {
        actions_.dismissed();
    }
}

}  // namespace wordloom
