#include "ui/StatisticsWindow.h"

#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QPainter>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "core/base/Iso8601.h"
#include "core/library/LibraryStatistics.h"
#include "core/library/SnippetStore.h"

namespace wordloom {

/// Expansions per day as bars, in the palette's colours; its accessible description reads the
/// same figures out.
class UsageChart : public QWidget {
  public:
    UsageChart() {
        setMinimumHeight(140);
        setAccessibleName("Expansions per day");
    }

    void setDays(std::vector<std::pair<std::string, std::int64_t>> days) {
        days_ = std::move(days);
        std::int64_t total = 0;
        std::int64_t busiest = 0;
        QString busiestDay;
        for (const auto& [day, count] : days_) {
            total += count;
            if (count > busiest) {
                busiest = count;
                busiestDay = QString::fromStdString(day);
            }
        }
        setAccessibleDescription(
            busiest == 0 ? QString("No expansions in the last %1 days.").arg(days_.size())
                         : QString("%1 expansions in the last %2 days; the busiest day was %3 "
                                   "with %4.")
                               .arg(total)
                               .arg(days_.size())
                               .arg(busiestDay)
                               .arg(busiest));
        update();
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const auto& colors = palette();
        const QFontMetrics metrics(font());
        const int labelHeight = metrics.height() + 4;
        const QRect plot =
            rect().adjusted(metrics.horizontalAdvance("0000") + 8, 6, -6, -labelHeight);
        std::int64_t highest = 1;
        for (const auto& [day, count] : days_) {
            highest = std::max(highest, count);
        }
        painter.setPen(colors.color(QPalette::Mid));
        painter.drawLine(plot.bottomLeft(), plot.bottomRight());
        painter.setPen(colors.color(QPalette::WindowText));
        painter.drawText(QRect(0, plot.top() - 2, plot.left() - 6, metrics.height()),
                         Qt::AlignRight, QString::number(highest));
        painter.drawText(
            QRect(0, plot.bottom() - metrics.height(), plot.left() - 6, metrics.height()),
            Qt::AlignRight, "0");
        if (days_.empty()) {
            return;
        }
        const double slot = static_cast<double>(plot.width()) / static_cast<double>(days_.size());
        for (std::size_t i = 0; i < days_.size(); ++i) {
            const auto count = days_[i].second;
            const double height = static_cast<double>(plot.height()) * static_cast<double>(count) /
                                  static_cast<double>(highest);
            const QRectF bar(plot.left() + slot * static_cast<double>(i) + slot * 0.15,
                             plot.bottom() - height, slot * 0.7, height);
            painter.fillRect(bar, colors.color(QPalette::Highlight));
        }
        // The first, middle and last day under the bars.
        painter.setPen(colors.color(QPalette::WindowText));
        for (const std::size_t i : {std::size_t{0}, days_.size() / 2, days_.size() - 1}) {
            const auto label = QString::fromStdString(days_[i].first.substr(5));  // "11-24"
            const int x = plot.left() + static_cast<int>(slot * (static_cast<double>(i) + 0.5));
            const int width = metrics.horizontalAdvance(label);
            painter.drawText(std::clamp(x - width / 2, plot.left(), plot.right() - width),
                             plot.bottom() + metrics.ascent() + 3, label);
        }
    }

  private:
    std::vector<std::pair<std::string, std::int64_t>> days_;
};

StatisticsWindow::StatisticsWindow(const SnippetStore& snippets, const UsageHistory& history,
                                   std::function<EngineCounters()> engineCounters)
    : snippets_(snippets), history_(history), engineCounters_(std::move(engineCounters)) {
    setWindowTitle("Wordloom Statistics");
    setObjectName("WordloomStatistics");
    auto* layout = new QVBoxLayout(this);
    summary_ = new QLabel;
    summary_->setObjectName("StatisticsSummary");
    summary_->setTextFormat(Qt::PlainText);
    summary_->setWordWrap(true);
    summary_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    summary_->setAccessibleName("Summary");
    layout->addWidget(summary_);

    auto* chartTitle = new QLabel("Expansions per day, last 30 days");
    layout->addWidget(chartTitle);
    chart_ = new UsageChart;
    layout->addWidget(chart_, 1);

    auto* lists = new QGridLayout;
    auto* topTitle = new QLabel("&Most used");
    top_ = new QTreeWidget;
    top_->setObjectName("MostUsedSnippets");
    top_->setAccessibleName("Most used snippets");
    top_->setHeaderLabels({"Abbreviation", "Label", "Uses", "Last used"});
    top_->setRootIsDecorated(false);
    top_->header()->setStretchLastSection(true);
    topTitle->setBuddy(top_);
    neverUsedTitle_ = new QLabel("&Never used");
    neverUsed_ = new QListWidget;
    neverUsed_->setObjectName("NeverUsedSnippets");
    neverUsed_->setAccessibleName("Snippets never used");
    neverUsedTitle_->setBuddy(neverUsed_);
    lists->addWidget(topTitle, 0, 0);
    lists->addWidget(top_, 1, 0);
    lists->addWidget(neverUsedTitle_, 0, 1);
    lists->addWidget(neverUsed_, 1, 1);
    lists->setColumnStretch(0, 3);
    lists->setColumnStretch(1, 2);
    layout->addLayout(lists, 2);
    resize(720, 560);
}

StatisticsWindow::~StatisticsWindow() = default;

void StatisticsWindow::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

void StatisticsWindow::refresh() {
    const auto today = localDay(std::chrono::system_clock::now());
    const auto stats = LibraryStatistics::compute(snippets_.snippets(), history_, today);
    const auto counters = engineCounters_ ? engineCounters_() : EngineCounters{};
    const QLocale locale;
    const auto minutes = static_cast<std::int64_t>(stats.minutesSaved + 0.5);
    const auto saved = minutes >= 120
                           ? QString("%1 hours").arg(locale.toString(minutes / 60.0, 'f', 1))
                           : QString("%1 minutes").arg(locale.toString(minutes));
    summary_->setText(QString("Expansions today: %1 (%2 since Wordloom started)\n"
                              "Expansions recorded: %3; uses of all snippets: %4\n"
                              "Characters typed: %5; inserted: %6\n"
                              "Time saved: about %7, typing %8 characters a minute (40 words)")
                          .arg(locale.toString(std::max(stats.expansionsToday, counters.today)))
                          .arg(locale.toString(counters.sinceStart))
                          .arg(locale.toString(stats.expansionsRecorded))
                          .arg(locale.toString(stats.usesAllTime))
                          .arg(locale.toString(stats.charactersTyped))
                          .arg(locale.toString(stats.charactersInserted))
                          .arg(saved)
                          .arg(static_cast<int>(LibraryStatistics::charactersPerMinute)));
    chart_->setDays(stats.perDay);

    top_->clear();
    for (const auto* snippet : stats.top) {
        auto* item = new QTreeWidgetItem(top_);
        item->setText(0, QString::fromStdString(snippet->abbreviation));
        item->setText(1, QString::fromStdString(snippet->label));
        item->setText(2, locale.toString(snippet->useCount));
        item->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
        item->setText(3, snippet->lastUsedAt
                             ? QString::fromStdString(localDay(*snippet->lastUsedAt))
                             : QString());
    }
    for (int column = 0; column < 3; ++column) {
        top_->resizeColumnToContents(column);
    }
    neverUsed_->clear();
    for (const auto* snippet : stats.neverUsed) {
        neverUsed_->addItem(QString::fromStdString(
            snippet->label.empty() ? snippet->abbreviation
                                   : snippet->abbreviation + "  " + snippet->label));
    }
    neverUsedTitle_->setText(QString("&Never used (%1)").arg(stats.neverUsed.size()));
}

}  // namespace wordloom
