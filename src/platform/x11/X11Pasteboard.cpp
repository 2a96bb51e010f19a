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

bool isSelectionMetaType(const QString& type) {
    return type == QLatin1String("TARGETS") || type == QLatin1String("MULTIPLE") ||
           type == QLatin1String("TIMESTAMP") || type == QLatin1String("SAVE_TARGETS");
}

/// Our contents as Qt serves them to other applications: notes every read.
class TrackedMimeData final : public QMimeData {
  public:
    explicit TrackedMimeData(std::shared_ptr<X11Pasteboard::ReadTracker> tracker)
        : tracker_(std::move(tracker)) {}

  protected:
    QVariant retrieveData(const QString& type, QMetaType preferred) const override {
        tracker_->reads.fetch_add(1);
        tracker_->lastReadNanoseconds.store(steadyNanoseconds());
        return QMimeData::retrieveData(type, preferred);
    }

  private:
    std::shared_ptr<X11Pasteboard::ReadTracker> tracker_;
};

}  // namespace

X11Pasteboard::X11Pasteboard() {
    display_ = x11::openDisplay(&broken_);
    int errorBase = 0;
    if (!display_ || !XFixesQueryExtension(display_, &xfixesEventBase_, &errorBase)) {
        logger_.error("No XFixes extension: clipboard changes by others cannot be noticed");
        return;
    }
    const Window root = DefaultRootWindow(display_);
    probeWindow_ = XCreateSimpleWindow(display_, root, -10, -10, 1, 1, 0, 0, 0);
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
        if (notify.owner == 0 || notify.owner != ownWindow_[index]) {
            ++changeCounts_[index];
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

bool X11Pasteboard::ownerAnswers(PasteboardSelection selection) {
    if (!display_ || broken_) {
        return true;  // nothing to probe with; trust Qt
    }
    const Atom selectionAtom = atomFor(selection);
    const Window owner = XGetSelectionOwner(display_, selectionAtom);
    if (owner == 0 || owner == ownWindow_[indexOf(selection)]) {
        return true;
    }
    const Atom targets = XInternAtom(display_, "TARGETS", False);
    const Atom property = XInternAtom(display_, "WORDLOOM_PROBE", False);
    XConvertSelection(display_, selectionAtom, targets, property, probeWindow_, CurrentTime);
    XFlush(display_);
    const auto deadline = std::chrono::steady_clock::now() + ownerAnswerLimit;
    while (std::chrono::steady_clock::now() < deadline) {
        XEvent event;
        while (XPending(display_) > 0) {
            XNextEvent(display_, &event);
            if (event.type == SelectionNotify && event.xselection.requestor == probeWindow_) {
                XDeleteProperty(display_, probeWindow_, property);
                return true;
            }
            if (event.type == xfixesEventBase_ + XFixesSelectionNotify) {
                XPutBackEvent(display_, &event);
                drainOwnerEvents();
                break;
            }
        }
        x11::waitReadable(ConnectionNumber(display_), std::chrono::milliseconds(10));
    }
    logger_.error("The clipboard's owner did not answer; its contents cannot be saved");
    return false;
}

std::optional<PasteboardSnapshot> X11Pasteboard::snapshot(PasteboardSelection selection) {
    if (!ownerAnswers(selection)) {
        return std::nullopt;
    }
    PasteboardSnapshot snapshot;
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(modeOf(selection));
    if (!data) {
        return snapshot;
    }
    for (const QString& type : data->formats()) {
        if (isSelectionMetaType(type)) {
            continue;
        }
        const QByteArray bytes = data->data(type);
        snapshot.push_back({type.toStdString(), bytes.toStdString()});
    }
    return snapshot;
}

std::uint64_t X11Pasteboard::write(PasteboardSelection selection,
                                   const std::vector<PasteboardItem>& items) {
    const auto index = indexOf(selection);
    reads_->reads.store(0);
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
    if (display_ && !broken_) {
        drainOwnerEvents();
        ownWindow_[index] = items.empty() ? 0 : XGetSelectionOwner(display_, atomFor(selection));
    }
    return ++changeCounts_[index];
}

std::vector<PasteboardItem> X11Pasteboard::withPlatformRepresentations(
    std::vector<PasteboardItem> items) {
    return withX11Representations(std::move(items));
}

std::optional<std::string> X11Pasteboard::plainText() {
    if (!ownerAnswers(PasteboardSelection::clipboard)) {
        return std::nullopt;
    }
    const QMimeData* data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data || !data->hasText()) {
        return std::nullopt;
    }
    return data->text().toStdString();
}

void X11Pasteboard::waitUntilRead(Duration quiet, Duration limit) {
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < limit) {
        if (reads_->reads.load() > 0) {
            const auto sinceLastRead =
                std::chrono::nanoseconds(steadyNanoseconds() - reads_->lastReadNanoseconds.load());
            if (sinceLastRead >= quiet) {
                return;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    logger_.debug("The pasting application did not read the clipboard in time");
}

}  // namespace wordloom
