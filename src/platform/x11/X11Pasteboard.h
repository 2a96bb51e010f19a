#pragma once

#include <QClipboard>
#include <QSocketNotifier>
#include <array>
#include <atomic>
#include <memory>

#include "core/base/Log.h"
#include "core/expansion/Pasteboard.h"

struct _XDisplay;

namespace wordloom {

/// The CLIPBOARD and PRIMARY selections through Qt's clipboard, with what Qt does not offer:
/// a change count fed by XFixes owner notifications, a bounded check that the current owner
/// answers before Qt is asked for its contents (Qt would wait seconds for a hung one), and a
/// record of when the pasting application read our contents.
class X11Pasteboard final : public Pasteboard {
  public:
    /// Needs a QGuiApplication; use on the Qt main thread.
    X11Pasteboard();
    ~X11Pasteboard() override;
    X11Pasteboard(const X11Pasteboard&) = delete;
    X11Pasteboard& operator=(const X11Pasteboard&) = delete;

    std::uint64_t changeCount(PasteboardSelection selection) override;
    std::optional<PasteboardSnapshot> snapshot(PasteboardSelection selection) override;
    std::uint64_t write(PasteboardSelection selection,
                        const std::vector<PasteboardItem>& items) override;
    std::vector<PasteboardItem> withPlatformRepresentations(
        std::vector<PasteboardItem> items) override;
    std::optional<std::string> plainText() override;
    void waitUntilRead(Duration quiet, Duration limit) override;

    /// How long the owner of a selection gets to answer before its contents count as
    /// unreadable.
    static constexpr Duration ownerAnswerLimit = std::chrono::milliseconds(200);

    /// Reads seen since the last write, and when the last one happened.
    struct ReadTracker {
        std::atomic<int> reads{0};
        std::atomic<std::int64_t> lastReadNanoseconds{0};
    };

  private:
    void drainOwnerEvents();
    bool ownerAnswers(PasteboardSelection selection);
    unsigned long atomFor(PasteboardSelection selection) const;

    Logger logger_{"Pasteboard"};
    _XDisplay* display_ = nullptr;
    bool broken_ = false;
    unsigned long probeWindow_ = 0;
    int xfixesEventBase_ = 0;
    std::array<std::uint64_t, 2> changeCounts_{};
    std::array<unsigned long, 2> ownWindow_{};
    std::unique_ptr<QSocketNotifier> notifier_;
    std::shared_ptr<ReadTracker> reads_ = std::make_shared<ReadTracker>();
};

}  // namespace wordloom
