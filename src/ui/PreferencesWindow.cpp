#include "ui/PreferencesWindow.h"

#include "core/sync/SyncConfiguration.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTabWidget>
#include <QTimer>
#include <QVBoxLayout>

#include "core/library/SettingsStore.h"
#include "ui/PanelPlacement.h"
#include "ui/ShortcutRecorder.h"

namespace wordloom {

namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

/// A grey explanation under a control.
QLabel* note(const QString& text) {
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

QLabel* buddyLabel(const QString& text, QWidget* buddy) {
    auto* label = new QLabel(text);
    label->setBuddy(buddy);
    return label;
}

template <typename Enum>
struct Choice {
    Enum value;
    const char* text;
};

}  // namespace

PreferencesWindow::PreferencesWindow(PreferencesServices services)
    : QWidget(nullptr, Qt::Window),
      services_(std::move(services)),
      placement_(services_.defaults, "preferences") {
    setObjectName("WordloomPreferences");
    setWindowTitle("Wordloom Preferences");
    setAccessibleName("Wordloom Preferences");
    auto* layout = new QVBoxLayout(this);
    tabs_ = new QTabWidget();
    tabs_->setAccessibleName("Preference sections");
    tabs_->addTab(buildGeneral(), "&General");
    tabs_->addTab(buildExpansion(), "E&xpansion");
    tabs_->addTab(buildAI(), "&AI");
    tabs_->addTab(buildAdvanced(), "Ad&vanced");
    layout->addWidget(tabs_);
    auto* close = new QPushButton("Close");
    close->setAccessibleName("Close");
    QObject::connect(close, &QPushButton::clicked, this, [this] { hide(); });
    auto* row = new QHBoxLayout();
    row->addStretch();
    row->addWidget(close);
    layout->addLayout(row);
    resize(580, 420);
    if (!placement_.restore(*this)) {
        centreOnScreenWithMouse(*this);
    }

    // The accessibility state changes outside the window; keep it current while it shows.
    auto* poll = new QTimer(this);
    poll->setInterval(1500);
    QObject::connect(poll, &QTimer::timeout, this, [this] {
        if (isVisible()) {
            refreshAccessibility();
        }
    });
    poll->start();
}

void PreferencesWindow::present() {
    for (const auto& reload : reloaders_) {
        reload();
    }
    refreshAccessibility();
    show();
    raise();
    activateWindow();
}

void PreferencesWindow::hideEvent(QHideEvent* event) {
    placement_.save(*this);
    QWidget::hideEvent(event);
}

void PreferencesWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        hide();
        return;
    }
    QWidget::keyPressEvent(event);
}

void PreferencesWindow::change(const std::function<void(AppSettings&)>& edit) {
    services_.settings.update(edit);
}

QWidget* PreferencesWindow::buildGeneral() {
    auto* page = new QWidget();
    auto* form = new QFormLayout(page);

    auto* login = new QCheckBox("&Start Wordloom when I log in");
    login->setObjectName("launchAtLogin");
    login->setAccessibleName("Start Wordloom when I log in");
    auto* loginError = note(QString());
    loginError->setObjectName("launchAtLoginError");
    loginError->hide();
    reloaders_.push_back([this, login] {
        QSignalBlocker block(login);
        login->setChecked(services_.launchesAtLogin && services_.launchesAtLogin());
    });
    QObject::connect(login, &QCheckBox::toggled, this, [this, login, loginError](bool on) {
        const auto error =
            services_.setLaunchAtLogin ? services_.setLaunchAtLogin(on) : std::nullopt;
        // What the desktop will do is what the autostart folder holds: show that.
        const bool present = services_.launchesAtLogin && services_.launchesAtLogin();
        {
            QSignalBlocker block(login);
            login->setChecked(present);
        }
        loginError->setText(error ? qt(*error) : QString());
        loginError->setVisible(error.has_value());
        change([present](AppSettings& settings) { settings.launchAtLogin = present; });
    });
    form->addRow(login);
    form->addRow(loginError);

    auto* tray = new QCheckBox("Show the icon in the system &tray");
    tray->setObjectName("showInMenuBar");
    tray->setAccessibleName("Show the icon in the system tray");
    reloaders_.push_back([this, tray] {
        QSignalBlocker block(tray);
        tray->setChecked(services_.settings.settings().showInMenuBar);
    });
    QObject::connect(tray, &QCheckBox::toggled, this, [this](bool on) {
        change([on](AppSettings& settings) { settings.showInMenuBar = on; });
    });
    form->addRow(tray);

    auto* taskbar = new QCheckBox("Show Wordloom's windows in the task&bar");
    taskbar->setObjectName("showInDock");
    taskbar->setAccessibleName("Show Wordloom's windows in the taskbar");
    reloaders_.push_back([this, taskbar] {
        QSignalBlocker block(taskbar);
        taskbar->setChecked(services_.settings.settings().showInDock);
    });
    QObject::connect(taskbar, &QCheckBox::toggled, this, [this](bool on) {
        change([on](AppSettings& settings) { settings.showInDock = on; });
    });
    form->addRow(taskbar);

    auto* recorder = new ShortcutRecorder();
    recorder->setAccessibleName("Quick search shortcut");
    reloaders_.push_back([this, recorder] {
        recorder->setShortcut(services_.settings.settings().globalSearchShortcut);
    });
    auto* refusal = note(QString());
    refusal->setObjectName("ShortcutRefusal");
    refusal->hide();
    recorder->onRecorded = [this, recorder, refusal](const KeyboardShortcut& shortcut) {
        // A combination the rules refuse is not stored: the message says why.
        const auto message = shortcut.key.empty() || !services_.checkShortcut
                                 ? std::nullopt
                                 : services_.checkShortcut(shortcut);
        refusal->setText(message ? QString::fromStdString(*message) : QString());
        refusal->setVisible(message.has_value());
        if (message) {
            recorder->setAccessibleDescription(QString::fromStdString(*message));
            recorder->setShortcut(services_.settings.settings().globalSearchShortcut);
            return;
        }
        recorder->setAccessibleDescription(QString());
        change([shortcut](AppSettings& settings) { settings.globalSearchShortcut = shortcut; });
    };
    auto* recorderRow = new QHBoxLayout();
    recorderRow->addWidget(recorder);
    recorderRow->addStretch();
    form->addRow(buddyLabel("&Quick search shortcut:", recorder), recorderRow);
    form->addRow(refusal);
    form->addRow(
        note("Opens quick search from any window. On Wayland, bind \u201cwordloom "
             "quick-search\u201d to a key in your desktop's keyboard settings instead."));

    auto* sync = new QCheckBox("S&ync the library with my other computers");
    sync->setObjectName("iCloudSyncEnabled");
    sync->setAccessibleName("Sync the library with my other computers");
    auto* syncNote = note("");
    reloaders_.push_back([this, sync, syncNote] {
        const auto configuration = SyncConfiguration::load(services_.defaults);
        QSignalBlocker block(sync);
        sync->setChecked(services_.settings.settings().iCloudSyncEnabled);
        switch (configuration.backend) {
            case SyncConfiguration::Backend::none:
                sync->setEnabled(false);
                syncNote->setText(
                    "Set sync up first, through any folder a file-sync tool keeps in step "
                    "(\u201cwordloom sync setup folder PATH\u201d) or through iCloud "
                    "(\u201cwordloom sync setup cloudkit\u201d).");
                break;
            case SyncConfiguration::Backend::folder:
                sync->setEnabled(true);
                syncNote->setText(QString("Through the folder %1. \u201cwordloom sync "
                                          "status\u201d tells how it went.")
                                      .arg(QString::fromStdString(configuration.folder.string())));
                break;
            case SyncConfiguration::Backend::cloudKit:
                sync->setEnabled(true);
                syncNote->setText(QString("Through iCloud (%1). Sign in with \u201cwordloom "
                                          "sync sign-in\u201d.")
                                      .arg(QString::fromStdString(configuration.container)));
                break;
        }
    });
    QObject::connect(sync, &QCheckBox::toggled, this, [this](bool on) {
        change([on](AppSettings& settings) { settings.iCloudSyncEnabled = on; });
    });
    form->addRow(sync);
    form->addRow(syncNote);
    return page;
}

QWidget* PreferencesWindow::buildExpansion() {
    auto* page = new QWidget();
    auto* form = new QFormLayout(page);

    auto* trigger = new QComboBox();
    trigger->setObjectName("defaultTriggerMode");
    trigger->setAccessibleName("Default trigger");
    trigger->addItem("After a space or punctuation", static_cast<int>(TriggerMode::delimiter));
    trigger->addItem("As soon as it is typed", static_cast<int>(TriggerMode::immediate));
    reloaders_.push_back([this, trigger] {
        QSignalBlocker block(trigger);
        trigger->setCurrentIndex(
            trigger->findData(static_cast<int>(services_.settings.settings().defaultTriggerMode)));
    });
    QObject::connect(trigger, &QComboBox::activated, this, [this, trigger] {
        const auto mode = static_cast<TriggerMode>(trigger->currentData().toInt());
        change([mode](AppSettings& settings) { settings.defaultTriggerMode = mode; });
    });
    form->addRow(buddyLabel("Expand &new snippets:", trigger), trigger);

    auto* caseChoice = new QComboBox();
    caseChoice->setObjectName("defaultCaseSensitivity");
    caseChoice->setAccessibleName("Default letter case matching");
    caseChoice->addItem("Adapt to how it is typed", static_cast<int>(CaseSensitivity::autoDetect));
    caseChoice->addItem("Exact case only", static_cast<int>(CaseSensitivity::sensitive));
    caseChoice->addItem("Any case", static_cast<int>(CaseSensitivity::insensitive));
    reloaders_.push_back([this, caseChoice] {
        QSignalBlocker block(caseChoice);
        caseChoice->setCurrentIndex(caseChoice->findData(
            static_cast<int>(services_.settings.settings().defaultCaseSensitivity)));
    });
    QObject::connect(caseChoice, &QComboBox::activated, this, [this, caseChoice] {
        const auto value = static_cast<CaseSensitivity>(caseChoice->currentData().toInt());
        change([value](AppSettings& settings) { settings.defaultCaseSensitivity = value; });
    });
    form->addRow(buddyLabel("&Letter case:", caseChoice), caseChoice);

    const auto addCheck = [this, form](const char* name, const QString& text,
                                       bool AppSettings::*field, const QString& explanation) {
        auto* box = new QCheckBox(text);
        box->setObjectName(name);
        box->setAccessibleName(QString(text).remove('&'));
        reloaders_.push_back([this, box, field] {
            QSignalBlocker block(box);
            box->setChecked(services_.settings.settings().*field);
        });
        QObject::connect(box, &QCheckBox::toggled, this, [this, field](bool on) {
            change([field, on](AppSettings& settings) { settings.*field = on; });
        });
        form->addRow(box);
        if (!explanation.isEmpty()) {
            form->addRow(note(explanation));
        }
    };
    addCheck("smartCaseEnabled", "&Match the case of what I type", &AppSettings::smartCaseEnabled,
             "\u201c;SIG\u201d expands in capitals, \u201c;Sig\u201d with a capital first letter.");
    addCheck("delayAmbiguousExpansions", "&Wait when a longer abbreviation could follow",
             &AppSettings::delayAmbiguousExpansions, QString());
    addCheck("expandInPasswordFields", "Expand in &password fields",
             &AppSettings::expandInPasswordFields,
             "Off, nothing typed into a password field is ever expanded.");
    addCheck("allowURLSchemeExpansion", "Let wordloom:// lin&ks expand snippets",
             &AppSettings::allowURLSchemeExpansion, QString());

    auto* sound = new QComboBox();
    sound->setObjectName("expansionSound");
    sound->setAccessibleName("Sound after an expansion");
    for (const auto& [value, text] : {Choice<ExpansionSound>{ExpansionSound::none, "None"},
                                      {ExpansionSound::click, "Click"},
                                      {ExpansionSound::pop, "Pop"},
                                      {ExpansionSound::typewriter, "Typewriter"}}) {
        sound->addItem(text, static_cast<int>(value));
    }
    reloaders_.push_back([this, sound] {
        QSignalBlocker block(sound);
        sound->setCurrentIndex(
            sound->findData(static_cast<int>(services_.settings.settings().expansionSound)));
    });
    QObject::connect(sound, &QComboBox::activated, this, [this, sound] {
        const auto value = static_cast<ExpansionSound>(sound->currentData().toInt());
        change([value](AppSettings& settings) { settings.expansionSound = value; });
    });
    form->addRow(buddyLabel("&Sound:", sound), sound);

    auto* notice = new QComboBox();
    notice->setObjectName("notificationStyle");
    notice->setAccessibleName("Notice after an expansion");
    for (const auto& [value, text] : {Choice<NotificationStyle>{NotificationStyle::none, "None"},
                                      {NotificationStyle::subtle, "Subtle"},
                                      {NotificationStyle::popup, "Pop-up"}}) {
        notice->addItem(text, static_cast<int>(value));
    }
    reloaders_.push_back([this, notice] {
        QSignalBlocker block(notice);
        notice->setCurrentIndex(
            notice->findData(static_cast<int>(services_.settings.settings().notificationStyle)));
    });
    QObject::connect(notice, &QComboBox::activated, this, [this, notice] {
        const auto value = static_cast<NotificationStyle>(notice->currentData().toInt());
        change([value](AppSettings& settings) { settings.notificationStyle = value; });
    });
    form->addRow(buddyLabel("N&otice:", notice), notice);
    return page;
}

QWidget* PreferencesWindow::buildAI() {
    auto* page = new QWidget();
    auto* form = new QFormLayout(page);

    auto* provider = new QComboBox();
    provider->setObjectName("aiProvider");
    provider->setAccessibleName("AI provider");
    provider->addItem("Built-in model if there is one, else Ollama (on Linux: Ollama)",
                      static_cast<int>(AIProvider::appleIntelligenceWithOllamaFallback));
    provider->addItem("Built-in model only (not available on Linux)",
                      static_cast<int>(AIProvider::appleIntelligence));
    // Kept in the list so that a library from another computer shows what it asks for.
    if (auto* items = qobject_cast<QStandardItemModel*>(provider->model())) {
        items->item(1)->setEnabled(false);
    }
    provider->addItem("Ollama on this computer", static_cast<int>(AIProvider::ollama));
    provider->addItem("Off", static_cast<int>(AIProvider::disabled));
    reloaders_.push_back([this, provider] {
        QSignalBlocker block(provider);
        provider->setCurrentIndex(
            provider->findData(static_cast<int>(services_.settings.settings().aiProvider)));
    });
    QObject::connect(provider, &QComboBox::activated, this, [this, provider] {
        const auto value = static_cast<AIProvider>(provider->currentData().toInt());
        change([value](AppSettings& settings) { settings.aiProvider = value; });
    });
    form->addRow(buddyLabel("&Provider:", provider), provider);

    auto* endpoint = new QLineEdit();
    endpoint->setObjectName("ollamaEndpoint");
    endpoint->setAccessibleName("Ollama address");
    auto* endpointCheck = note(QString());
    endpointCheck->setObjectName("ollamaEndpointCheck");
    const auto check = [this, endpoint, endpointCheck] {
        const auto problem = services_.checkEndpoint
                                 ? services_.checkEndpoint(endpoint->text().toStdString())
                                 : std::nullopt;
        endpointCheck->setText(problem ? qt(*problem) : QString());
        endpointCheck->setVisible(problem.has_value());
        return !problem;
    };
    reloaders_.push_back([this, endpoint, check] {
        QSignalBlocker block(endpoint);
        endpoint->setText(qt(services_.settings.settings().ollamaEndpoint));
        check();
    });
    // Saved as typed, like every other setting (the store writes the file once typing stops).
    QObject::connect(endpoint, &QLineEdit::textEdited, this, [this, check](const QString& text) {
        check();
        const auto value = text.toStdString();
        change([value](AppSettings& settings) { settings.ollamaEndpoint = value; });
    });
    auto* test = new QPushButton("&Test");
    test->setObjectName("testOllama");
    test->setAccessibleName("Test the Ollama address");
    auto* row = new QHBoxLayout();
    row->addWidget(endpoint, 1);
    row->addWidget(test);
    form->addRow(buddyLabel("Ollama a&ddress:", endpoint), row);
    form->addRow(endpointCheck);
    auto* answer = note("Only a server on this computer is used: nothing you type leaves it.");
    answer->setObjectName("ollamaTestResult");
    form->addRow(answer);
    QObject::connect(test, &QPushButton::clicked, this, [this, endpoint, test, answer, check] {
        if (!check() || !services_.testEndpoint) {
            return;
        }
        test->setEnabled(false);
        answer->setText("Asking " + endpoint->text() + " for its models\u2026");
        QPointer<QWidget> alive(this);
        services_.testEndpoint(endpoint->text().toStdString(),
                               [alive, test, answer](const std::string& result) {
                                   if (!alive) {
                                       return;
                                   }
                                   test->setEnabled(true);
                                   answer->setText(QString::fromStdString(result));
                               });
    });

    auto* model = new QLineEdit();
    model->setObjectName("ollamaModel");
    model->setAccessibleName("Ollama model");
    reloaders_.push_back([this, model] {
        QSignalBlocker block(model);
        model->setText(qt(services_.settings.settings().ollamaModel));
    });
    QObject::connect(model, &QLineEdit::textEdited, this, [this](const QString& text) {
        const auto value = text.trimmed().toStdString();
        change([value](AppSettings& settings) { settings.ollamaModel = value; });
    });
    form->addRow(buddyLabel("&Model:", model), model);

    auto* writingTools = new QCheckBox("Allow the system's writing tools in snippets");
    writingTools->setObjectName("allowSystemWritingTools");
    writingTools->setAccessibleName("Allow the system's writing tools (not available on Linux)");
    writingTools->setEnabled(false);
    form->addRow(writingTools);
    form->addRow(
        note("Linux has no system writing tools and no built-in language model; "
             "AI macros use Ollama."));
    return page;
}

QWidget* PreferencesWindow::buildAdvanced() {
    auto* page = new QWidget();
    auto* layout = new QVBoxLayout(page);
    auto* debug = new QCheckBox("&Debug logging (timings of every expansion, to the log)");
    debug->setObjectName("debugLoggingEnabled");
    debug->setAccessibleName("Debug logging");
    reloaders_.push_back([this, debug] {
        QSignalBlocker block(debug);
        debug->setChecked(services_.settings.settings().debugLoggingEnabled);
    });
    QObject::connect(debug, &QCheckBox::toggled, this, [this](bool on) {
        change([on](AppSettings& settings) { settings.debugLoggingEnabled = on; });
    });
    layout->addWidget(debug);

    auto* heading = new QLabel("<b>Accessibility support</b>");
    layout->addSpacing(12);
    layout->addWidget(heading);
    accessibilityState_ = new QLabel();
    accessibilityState_->setObjectName("accessibilityState");
    accessibilityState_->setWordWrap(true);
    layout->addWidget(accessibilityState_);
    accessibilitySteps_ = note(qt(services_.accessibilitySteps));
    accessibilitySteps_->setObjectName("accessibilitySteps");
    layout->addWidget(accessibilitySteps_);
    layout->addStretch();
    return page;
}

void PreferencesWindow::refreshAccessibility() {
    if (!services_.accessibility) {
        return;
    }
    const auto [enabled, reason] = services_.accessibility();
    accessibilityState_->setText(
        enabled ? QString("On: Wordloom can see which field you type in, and expands.")
                : "Off: nothing expands until it is on. " + qt(reason));
    accessibilitySteps_->setVisible(!enabled);
}

}  // namespace wordloom
