#pragma once

#include <QWidget>
#include <cstdint>
#include <functional>
#include <memory>

class QLabel;
class QListWidget;
class QTreeWidget;

namespace wordloom {

class SnippetStore;
class UsageHistory;
class UsageChart;

/// How Wordloom has been used: expansions today and in all, characters typed and inserted and
/// the time that saved, the most used and the never used snippets, and a chart of expansions
/// per day. Everything comes from what the library keeps (use counts, last uses, the usage
/// history) and the engine's counters; it is read again each time the window is shown.
class StatisticsWindow : public QWidget {
  public:
    struct EngineCounters {
        std::int64_t sinceStart = 0;
        std::int64_t today = 0;
    };

    StatisticsWindow(const SnippetStore& snippets, const UsageHistory& history,
                     std::function<EngineCounters()> engineCounters);
    ~StatisticsWindow() override;

    /// Reads everything again.
    void refresh();

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    const SnippetStore& snippets_;
    const UsageHistory& history_;
    std::function<EngineCounters()> engineCounters_;
    QLabel* summary_ = nullptr;
    UsageChart* chart_ = nullptr;
    QTreeWidget* top_ = nullptr;
    QListWidget* neverUsed_ = nullptr;
    QLabel* neverUsedTitle_ = nullptr;
};

}  // namespace wordloom
