#include "ui/OnboardingWindow.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include "ui/PanelPlacement.h"
#include "ui/TrayIconArt.h"

namespace wordloom {

namespace {

QLabel* paragraph(const QString& text) {
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    return label;
}

}  // namespace

OnboardingWindow::OnboardingWindow(Services services)
    : QWidget(nullptr, Qt::Window),
      services_(std::move(services)),
      placement_(services_.defaults, "onboarding") {
    setObjectName("WordloomOnboarding");
    setWindowTitle("Welcome to Wordloom");
    setAccessibleName("Welcome to Wordloom");
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(10);

    auto* title = new QLabel("Welcome to Wordloom");
    QFont large = title->font();
    large.setPointSizeF(large.pointSizeF() * 1.6);
    large.setBold(true);
    title->setFont(large);
    layout->addWidget(title);
    layout->addWidget(paragraph(
        "Wordloom types for you. Give a piece of text an abbreviation, such as \u201c;sig\u201d "
        "for your signature, and whenever you type the abbreviation in any window, Wordloom "
        "replaces it with the text. Snippets can hold today's date, the clipboard, fields to "
        "fill in and more."));

    auto* accessibilityRow = new QHBoxLayout();
    accessibilityIcon_ = new QLabel();
    accessibilityRow->addWidget(accessibilityIcon_, 0, Qt::AlignTop);
    accessibilityState_ = paragraph(QString());
    accessibilityState_->setObjectName("accessibilityState");
    accessibilityRow->addWidget(accessibilityState_, 1);
    layout->addLayout(accessibilityRow);
    steps_ = paragraph(QString::fromStdString(services_.accessibilitySteps));
    steps_->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(steps_);

    auto* tryLabel = new QLabel("T&ry it: type ;today and a space here");
    tryField_ = new QLineEdit();
    tryField_->setObjectName("tryField");
    tryField_->setAccessibleName("Try a snippet here");
    tryField_->setPlaceholderText(";today");
    tryLabel->setBuddy(tryField_);
    auto* tryGroup = new QVBoxLayout();
    tryGroup->setSpacing(4);
    tryGroup->addWidget(tryLabel);
    tryGroup->addWidget(tryField_);
    layout->addLayout(tryGroup);

    auto* trayRow = new QHBoxLayout();
    auto* trayPicture = new QLabel();
    trayPicture->setPixmap(trayIcon(TrayState::running).pixmap(24, 24));
    trayPicture->setAccessibleName("The Wordloom tray icon");
    trayRow->addWidget(trayPicture, 0, Qt::AlignTop);
    tray_ = paragraph(QString());
    tray_->setObjectName("trayWhereabouts");
    trayRow->addWidget(tray_, 1);
    layout->addLayout(trayRow);

    auto* buttons = new QHBoxLayout();
    auto* preferences = new QPushButton("&Preferences\u2026");
    preferences->setAccessibleName("Preferences");
    QObject::connect(preferences, &QPushButton::clicked, this, [this] {
        if (services_.openPreferences) {
            services_.openPreferences();
        }
    });
    auto* done = new QPushButton("&Done");
    done->setAccessibleName("Done");
    done->setDefault(true);
    QObject::connect(done, &QPushButton::clicked, this, [this] { hide(); });
    buttons->addWidget(preferences);
    buttons->addStretch();
    buttons->addWidget(done);
    layout->addSpacing(8);
    layout->addLayout(buttons);
    resize(560, layout->totalHeightForWidth(560));
    if (!placement_.restore(*this)) {
        centreOnScreenWithMouse(*this);
    }

    auto* poll = new QTimer(this);
    poll->setInterval(1000);
    QObject::connect(poll, &QTimer::timeout, this, [this] {
        if (isVisible()) {
            refresh();
        }
    });
    poll->start();
}

void OnboardingWindow::present(bool activate) {
    refresh();
    // Wrapped paragraphs are as tall as the window is narrow: ask the layout for this width.
    resize(width(), std::max(height(), layout()->totalHeightForWidth(width())));
    setAttribute(Qt::WA_ShowWithoutActivating, !activate);
    show();
    raise();
    if (activate) {
        activateWindow();
    }
    tryField_->setFocus();
}

void OnboardingWindow::refresh() {
    const auto [enabled, reason] =
        services_.accessibility ? services_.accessibility() : std::pair{true, std::string()};
    const int size = style()->pixelMetric(QStyle::PM_LargeIconSize);
    accessibilityIcon_->setPixmap(
        style()
            ->standardIcon(enabled ? QStyle::SP_DialogApplyButton : QStyle::SP_MessageBoxWarning)
            .pixmap(size, size));
    accessibilityState_->setText(
        enabled ? QString("<b>Accessibility support is on.</b> Wordloom is expanding.")
                : "<b>Accessibility support is off,</b> so nothing expands yet. " +
                      QString::fromStdString(reason).toHtmlEscaped());
    steps_->setVisible(!enabled);
    if (services_.trayWhereabouts) {
        tray_->setText(QString::fromStdString(services_.trayWhereabouts()));
    }
}

void OnboardingWindow::hideEvent(QHideEvent* event) {
    placement_.save(*this);
    QWidget::hideEvent(event);
}

void OnboardingWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        hide();
        return;
    }
    QWidget::keyPressEvent(event);
}

}  // namespace wordloom
