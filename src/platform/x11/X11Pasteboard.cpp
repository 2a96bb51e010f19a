#include "platform/x11/X11Pasteboard.h"

#include <QGuiApplication>
#include <QMimeData>
#include <thread>

// Xlib after Qt.
#include <X11/Xatom.h>
#include <X11/extensions/Xfixes.h>

#include "platform/x11/PasteboardRepresentations.h"
#include "platform/x11/X11Support.h"

namespace wordloom {

namespace {

std::size_t indexOf(PasteboardSelection selection) {
    return selection == PasteboardSelection::clipboard ? 0 : 1;
}

QClipboard::Mode modeOf(PasteboardSelection selection) {
    return selection == PasteboardSelection::clipboard ? QClipboard::Clipboard
                                                       : QClipboard::Selection;
}

std::int64_t steadyNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

const char* selectionName(PasteboardSelection selection) {
    return selection == PasteboardSelection::clipboard ? "CLIPBOARD" : "PRIMARY";
}

/// Our contents as Qt serves them to other applications: notes every request. Qt answers a
/// TARGETS request from formats() and a format request from retrieveData().
class TrackedMimeData final : public QMimeData {
  public:
    explicit TrackedMimeData(std::shared_ptr<X11Pasteboard::ReadTracker> tracker)
        : tracker_(std::move(tracker)) {}

    QStringList formats() const override {
        tracker_->noteRequest(steadyNanoseconds());
        return QMimeData::formats();
    }

  protected:
    QVariant retrieveData(const QString& type, QMetaType preferred) const override {
        tracker_->noteRead(steadyNanoseconds());
        return QMimeData::retrieveData(type, preferred);
    }

  private:
    std::shared_ptr<X11Pasteboard::ReadTracker> tracker_;
};

}  // namespace

void X11Pasteboard::ReadTracker::reset() {
    std::lock_guard lock(mutex_);
    read_ = false;
    lastRequest_.reset();
}

void X11Pasteboard::ReadTracker::noteRequest(std::int64_t steadyTime) {
    std::lock_guard lock(mutex_);
    lastRequest_ = steadyTime;
}

void X11Pasteboard::ReadTracker::noteRead(std::int64_t steadyTime) {
    std::lock_guard lock(mutex_);
    read_ = true;
    lastRequest_ = steadyTime;
}

std::optional<std::int64_t> X11Pasteboard::ReadTracker::lastRead() const {
    std::lock_guard lock(mutex_);
    return read_ ? lastRequest_ : std::nullopt;
}

X11Pasteboard::X11Pasteboard(X11SelectionReader::Limits readLimits) : readLimits_(readLimits) {
    display_ = x11::openDisplay(&broken_);
    int errorBase = 0;
    if (!display_ || !XFixesQueryExtension(display_, &xfixesEventBase_, &errorBase)) {
        logger_.error("No XFixes extension: clipboard changes by others cannot be noticed");
        return;
    }
    const Window root = DefaultRootWindow(display_);
    const unsigned long mask = XFixesSetSelectionOwnerNotifyMask |
                               XFixesSelectionWindowDestroyNotifyMask |
                               XFixesSelectionClientCloseNotifyMask;
    XFixesSelectSelectionInput(display_, root, atomFor(PasteboardSelection::clipboard), mask);
    XFixesSelectSelectionInput(display_, root, atomFor(PasteboardSelection::primary), mask);
    XSync(display_, False);
    notifier_ =
        std::make_unique<QSocketNotifier>(ConnectionNumber(display_), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { drainOwnerEvents(); });
}

X11Pasteboard::~X11Pasteboard() {
    notifier_.reset();
    if (display_) {
        XCloseDisplay(display_);
    }
}

unsigned long X11Pasteboard::atomFor(PasteboardSelection selection) const {
    return selection == PasteboardSelection::clipboard ? XInternAtom(display_, "CLIPBOARD", False)
                                                       : XA_PRIMARY;
}

void X11Pasteboard::drainOwnerEvents() {
    if (!display_ || broken_) {
        return;
    }
    while (XPending(display_) > 0) {
        XEvent event;
        XNextEvent(display_, &event);
        if (event.type != xfixesEventBase_ + XFixesSelectionNotify) {
            continue;
        }
        const auto& notify = reinterpret_cast<const XFixesSelectionNotifyEvent&>(event);
        const auto selection = notify.selection == XA_PRIMARY ? PasteboardSelection::primary
                                                              : PasteboardSelection::clipboard;
        const auto index = indexOf(selection);
        // Our own writes were counted when they were made.
        if (notify.owner == 0 || notify.owner != ownWindow_[index].load()) {
            ++changeCounts_[index];
            ownWindow_[index].store(0);
            std::lock_guard lock(ownItemsMutex_);
            ownItems_[index].clear();
        }
    }
}

std::uint64_t X11Pasteboard::changeCount(PasteboardSelection selection) {
    if (display_ && !broken_) {
        XSync(display_, False);  // every owner change made so far is now queued to us
        drainOwnerEvents();
    }
    return changeCounts_[indexOf(selection)];
}

PasteboardSnapshot X11Pasteboard::ownContents(PasteboardSelection selection) const {
    std::lock_guard lock(ownItemsMutex_);
    return ownItems_[indexOf(selection)];
}

std::optional<PasteboardSnapshot> X11Pasteboard::snapshot(PasteboardSelection selection) {
    auto read = X11SelectionReader::snapshot(selectionName(selection), readLimits_,
                                             ownWindow_[indexOf(selection)].load());
    if (read.ours) {
        return ownContents(selection);
    }
    return read.contents;
}

std::uint64_t X11Pasteboard::write(PasteboardSelection selection,
                                   const std::vector<PasteboardItem>& items) {
    const auto index = indexOf(selection);
    if (items.empty()) {
        QGuiApplication::clipboard()->clear(modeOf(selection));
    } else {
        auto* data = new TrackedMimeData(reads_);
        for (const auto& item : items) {
            data->setData(QString::fromStdString(item.type),
                          QByteArray(item.data.data(), static_cast<qsizetype>(item.data.size())));
        }
        QGuiApplication::clipboard()->setMimeData(data, modeOf(selection));
    }
    // After handing the data to Qt, whose own look at it is no paste; no other program's
    // request is served before this returns to the event loop.
    reads_->reset();
    if (display_ && !broken_) {
        drainOwnerEvents();
        ownWindow_[index].store(items.empty() ? 0
                                              : XGetSelectionOwner(display_, atomFor(selection)));
    }
    {
        std::lock_guard lock(ownItemsMutex_);
        ownItems_[index] = items;
    }
    return ++changeCounts_[index];
}

std::vector<PasteboardItem> X11Pasteboard::withPlatformRepresentations(
    std::vector<PasteboardItem> items) {
    return withX11Representations(std::move(items));
}

std::optional<std::string> X11Pasteboard::plainText() {
    const auto selection = PasteboardSelection::clipboard;
    auto read = X11SelectionReader::plainText(selectionName(selection), readLimits_,
                                              ownWindow_[indexOf(selection)].load());
    const auto contents = read.ours ? std::optional(ownContents(selection)) : read.contents;
    if (!contents) {
        return std::nullopt;
    }
    for (const char* type : {pasteboardType::plainTextUtf8, pasteboardType::plainText}) {
        for (const auto& item : *contents) {
            if (item.type == type) {
                return item.data;
            }
        }
    }
    return std::nullopt;
}

void X11Pasteboard::waitUntilRead(Duration quiet, Duration limit) {
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < limit) {
        if (const auto lastRead = reads_->lastRead()) {
            if (std::chrono::nanoseconds(steadyNanoseconds() - *lastRead) >= quiet) {
                return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    logger_.debug("The pasting application did not read the clipboard in time");
}

}  // namespace wordloom
