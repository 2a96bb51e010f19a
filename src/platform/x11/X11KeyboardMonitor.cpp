#include "platform/x11/X11KeyboardMonitor.h"

#include "core/expansion/LatencyTrace.h"

// Xlib after Qt.
#include "platform/x11/X11Support.h"
// After Xlib.
#include <X11/Xproto.h>
#include <X11/extensions/record.h>

namespace wordloom {

struct X11KeyboardMonitor::Record {
    Display* control = nullptr;
    Display* data = nullptr;
    bool controlBroken = false;
    bool dataBroken = false;
    XRecordContext context = 0;
    bool ended = false;
};

namespace {

void recordCallback(XPointer closure, XRecordInterceptData* intercepted) {
    auto* monitor = reinterpret_cast<X11KeyboardMonitor*>(closure);
    if (intercepted->category == XRecordFromServer && intercepted->data_len >= 2) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(intercepted->data);
        monitor->handleRecordedKey(bytes[0] & 0x7f, bytes[1],
                                   static_cast<std::uint32_t>(intercepted->server_time));
    } else if (intercepted->category == XRecordEndOfData) {
        monitor->handleRecordedKey(-1, 0, 0);
    }
    XRecordFreeData(intercepted);
}

}  // namespace

X11KeyboardMonitor::X11KeyboardMonitor(InjectedKeyLedger& ledger) : ledger_(ledger) {
    reinstallTimer_.setInterval(2000);
    QObject::connect(&reinstallTimer_, &QTimer::timeout, [this] {
        if (wanted_ && !monitoring_ && install()) {
            reinstallTimer_.stop();
        }
    });
}

X11KeyboardMonitor::~X11KeyboardMonitor() {
    wanted_ = false;
    teardown();
}

void X11KeyboardMonitor::start() {
    wanted_ = true;
    if (monitoring_ && record_ && !record_->controlBroken && !record_->dataBroken &&
        !translator_->connectionBroken()) {
        return;
    }
    if (monitoring_) {
        logger_.info("Existing keyboard listener is no longer working; reinstalling.");
        teardown();
        setMonitoring(false);
    }
    if (!install()) {
        reinstallTimer_.start();
    }
}

void X11KeyboardMonitor::stop() {
    wanted_ = false;
    reinstallTimer_.stop();
    teardown();
    setMonitoring(false);
}

void X11KeyboardMonitor::setMonitoring(bool monitoring) {
    if (monitoring_ == monitoring) {
        return;
    }
    monitoring_ = monitoring;
    if (onMonitoringChanged) {
        onMonitoringChanged(monitoring);
    }
}

bool X11KeyboardMonitor::install() {
    auto record = std::make_unique<Record>();
    record->control = x11::openDisplay(&record->controlBroken);
    record->data = x11::openDisplay(&record->dataBroken);
    int major = 0;
    int minor = 0;
    if (!record->control || !record->data ||
        !XRecordQueryVersion(record->control, &major, &minor)) {
        logger_.error(
            "Failed to install the keyboard listener: no X display or no RECORD "
            "extension");
        if (record->control)
            XCloseDisplay(record->control);
        if (record->data)
            XCloseDisplay(record->data);
        return false;
    }
    auto translator = XkbKeyTranslator::create();
    if (!translator) {
        XCloseDisplay(record->control);
        XCloseDisplay(record->data);
        return false;
    }

    XRecordRange* range = XRecordAllocRange();
    range->device_events.first = KeyPress;
    range->device_events.last = KeyRelease;
    XRecordClientSpec clients = XRecordAllClients;
    record->context = XRecordCreateContext(record->control, 0, &clients, 1, &range, 1);
    XFree(range);
    XSync(record->control, False);
    if (!record->context ||
        !XRecordEnableContextAsync(record->data, record->context, recordCallback,
                                   reinterpret_cast<XPointer>(this))) {
        logger_.error("Failed to install the keyboard listener");
        if (record->context)
            XRecordFreeContext(record->control, record->context);
        XCloseDisplay(record->control);
        XCloseDisplay(record->data);
        return false;
    }

    record_ = std::move(record);
    translator_ = std::move(translator);
    dataNotifier_ =
        std::make_unique<QSocketNotifier>(ConnectionNumber(record_->data), QSocketNotifier::Read);
    QObject::connect(dataNotifier_.get(), &QSocketNotifier::activated,
                     [this] { processReplies(); });
    keymapNotifier_ =
        std::make_unique<QSocketNotifier>(translator_->fileDescriptor(), QSocketNotifier::Read);
    QObject::connect(keymapNotifier_.get(), &QSocketNotifier::activated, [this] {
        translator_->processEvents();
        if (translator_->connectionBroken()) {
            connectionLost();
        }
    });
    processReplies();
    setMonitoring(true);
    logger_.info("Keyboard monitoring started");
    return true;
}

void X11KeyboardMonitor::processReplies() {
    if (!record_) {
        return;
    }
    XRecordProcessReplies(record_->data);
    if (record_ && (record_->dataBroken || record_->controlBroken)) {
        connectionLost();
    }
}

void X11KeyboardMonitor::connectionLost() {
    logger_.error("The keyboard listener lost its X connection; reinstalling when possible");
    teardown();
    setMonitoring(false);
    if (wanted_) {
        reinstallTimer_.start();
    }
}

void X11KeyboardMonitor::teardown() {
    dataNotifier_.reset();
    keymapNotifier_.reset();
    if (record_) {
        auto record = std::move(record_);
        if (!record->controlBroken && !record->dataBroken) {
            // RECORD's data connection hangs on close unless the context is disabled first and
            // its end-of-data reply drained.
            XRecordDisableContext(record->control, record->context);
            XSync(record->control, False);
            record_ = std::move(record);
            for (int attempt = 0; attempt < 50 && !record_->ended; ++attempt) {
                if (x11::waitReadable(ConnectionNumber(record_->data),
                                      std::chrono::milliseconds(10))) {
                    XRecordProcessReplies(record_->data);
                }
            }
            record = std::move(record_);
            XRecordFreeContext(record->control, record->context);
        }
        XCloseDisplay(record->data);
        XCloseDisplay(record->control);
    }
    translator_.reset();
}

void X11KeyboardMonitor::handleRecordedKey(int type, std::uint8_t keycode,
                                           std::uint32_t serverTime) {
    if (type == -1) {
        if (record_)
            record_->ended = true;
        return;
    }
    if (!translator_ || !wanted_) {
        return;
    }
    const bool down = type == KeyPress;
    if (type != KeyPress && type != KeyRelease) {
        return;
    }
    if (ledger_.consume(keycode, down)) {
        translator_->track(keycode, down);
        return;
    }
    if (!down) {
        translator_->release(keycode);
        return;
    }
    latencyTrace::keyArrived(serverTime);
    dispatch(translator_->press(keycode));
}

}  // namespace wordloom
