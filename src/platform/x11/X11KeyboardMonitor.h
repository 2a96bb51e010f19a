#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <memory>

#include "core/base/Log.h"
#include "core/expansion/KeyboardMonitor.h"
#include "platform/x11/InjectedKeyLedger.h"
#include "platform/x11/XkbKeyTranslator.h"

namespace wordloom {

/// Watches the session's key presses with the X RECORD extension: nothing is grabbed, every
/// application keeps receiving its keys untouched, and auto-repeated keys are seen like the
/// applications see them. Text comes from XkbKeyTranslator; keys Wordloom injected itself
/// (known from the ledger) are skipped. A lost connection or RECORD context is reinstalled
/// every two seconds until it works again. Runs on the Qt main thread.
class X11KeyboardMonitor final : public KeyboardMonitor {
  public:
    explicit X11KeyboardMonitor(InjectedKeyLedger& ledger);
    ~X11KeyboardMonitor() override;

    void start() override;
    void stop() override;
    bool isMonitoring() const override { return monitoring_; }
    void processPendingKeys() override { processReplies(); }

    /// Called by RECORD's reply processing for every intercepted event; `serverTime` is the
    /// server's timestamp of it.
    void handleRecordedKey(int type, std::uint8_t keycode, std::uint32_t serverTime);

  private:
    struct Record;
    bool install();
    void teardown();
    void processReplies();
    void connectionLost();
    void setMonitoring(bool monitoring);

    InjectedKeyLedger& ledger_;
    Logger logger_{"KeyboardMonitor"};
    std::unique_ptr<Record> record_;
    std::unique_ptr<XkbKeyTranslator> translator_;
    std::unique_ptr<QSocketNotifier> dataNotifier_;
    std::unique_ptr<QSocketNotifier> keymapNotifier_;
    QTimer reinstallTimer_;
    bool wanted_ = false;
    bool monitoring_ = false;
};

}  // namespace wordloom
