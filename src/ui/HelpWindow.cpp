#include "ui/HelpWindow.h"

#include <QKeyEvent>
#include <QTextBrowser>
#include <QTextDocument>
#include <QVBoxLayout>

#include "ui/MacroReference.h"
#include "ui/PanelPlacement.h"

namespace wordloom {

HelpWindow::HelpWindow(UserDefaults& defaults)
    : QWidget(nullptr, Qt::Window), placement_(defaults, "help") {
    setObjectName("WordloomHelp");
    setWindowTitle("Wordloom Help: Macros");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* browser = new QTextBrowser();
    browser->setObjectName("macroReference");
    browser->setAccessibleName("Macro reference");
    browser->setOpenExternalLinks(true);
    browser->setMarkdown(QString::fromUtf8(macroReferenceMarkdown()));
    browser->document()->setDocumentMargin(12);
    layout->addWidget(browser);
    resize(760, 620);
    if (!placement_.restore(*this)) {
        centreOnScreenWithMouse(*this);
    }
}

void HelpWindow::present() {
    show();
    raise();
    activateWindow();
}

void HelpWindow::hideEvent(QHideEvent* event) {
    placement_.save(*this);
    QWidget::hideEvent(event);
}

void HelpWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        hide();
        return;
    }
    QWidget::keyPressEvent(event);
}

}  // namespace wordloom
