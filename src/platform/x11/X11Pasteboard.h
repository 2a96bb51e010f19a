#pragma once

#include <QClipboard>
#include <QSocketNotifier>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

#include "core/base/Log.h"
#include "core/expansion/Pasteboard.h"
#include "platform/x11/X11SelectionReader.h"

struct _XDisplay;

namespace wordloom {

/// The CLIPBOARD and PRIMARY selections: written through Qt's clipboard, read on connections
/// of our own with a deadline and a byte cap (X11SelectionReader), from any thread. Adds what
/// Qt does not offer: a change count fed by XFixes owner notifications, and a record of when
/// the pasting application read our contents.
class X11Pasteboard final : public Pasteboard {
  public:
    /// Needs a QGuiApplication; use on the Qt main thread (reads excepted).
    explicit X11Pasteboard(X11SelectionReader::Limits readLimits = {});
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

    /// How the pasting application is getting on with our contents since our last write. A
    /// paste is a run of requests: the list of formats (TARGETS), one or more formats, often the
    /// list again before the application inserts. The paste is over once some format was read
    /// and no request of any kind followed for a while. One lock guards every field, so a
    /// waiter never pairs a fresh read with an old time.
    class ReadTracker {
      public:
        void reset();
        /// A request that hands over no contents, such as the list of formats.
        void noteRequest(std::int64_t steadyTime);
        /// A format of our contents handed over.
        void noteRead(std::int64_t steadyTime);
        /// The time of the latest request of any kind, once a format was read since reset().
        std::optional<std::int64_t> lastRead() const;

      private:
        mutable std::mutex mutex_;
        bool read_ = false;
        std::optional<std::int64_t> lastRequest_;
    };

  private:
    void drainOwnerEvents();
    unsigned long atomFor(PasteboardSelection selection) const;
    /// What we wrote to `selection`, while we own it.
    PasteboardSnapshot ownContents(PasteboardSelection selection) const;

    Logger logger_{"Pasteboard"};
    X11SelectionReader::Limits readLimits_;
    _XDisplay* display_ = nullptr;
    bool broken_ = false;
    int xfixesEventBase_ = 0;
    std::array<std::uint64_t, 2> changeCounts_{};
    std::array<std::atomic<unsigned long>, 2> ownWindow_{};
    mutable std::mutex ownItemsMutex_;
    std::array<PasteboardSnapshot, 2> ownItems_;
    std::unique_ptr<QSocketNotifier> notifier_;
    std::shared_ptr<ReadTracker> reads_ = std::make_shared<ReadTracker>();
};

}  // namespace wordloom
