#include "ui/QuickCreatePanel.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/base/EnumCoding.h"
#include "ui/PanelPlacement.h"

namespace wordloom {

namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

struct TypeChoice {
    ContentType type;
    const char* name;
};
constexpr TypeChoice typeChoices[] = {{ContentType::plainText, "Plain text"},
                                      {ContentType::markdown, "Markdown"},
                                      {ContentType::code, "Code"},
                                      {ContentType::javaScript, "JavaScript"}};

QLabel* buddyLabel(const QString& text, QWidget* buddy) {
    auto* label = new QLabel(text);
    label->setBuddy(buddy);
    return label;
}

}  // namespace

QuickCreatePanel::QuickCreatePanel(Actions actions)
    : QWidget(nullptr, Qt::Dialog | Qt::WindowStaysOnTopHint), actions_(std::move(actions)) {
    setObjectName("WordloomQuickCreate");
    setWindowTitle("New Snippet");
    setAccessibleName("New Snippet");
    resize(520, 420);

    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout();
    layout->addLayout(form);

    abbreviation_ = new QLineEdit();
    abbreviation_->setObjectName("abbreviation");
    abbreviation_->setAccessibleName("Abbreviation");
    abbreviation_->setPlaceholderText("What you type, such as ;sig");
    form->addRow(buddyLabel("&Abbreviation:", abbreviation_), abbreviation_);
    verdict_ = new QLabel();
    verdict_->setObjectName("verdict");
    verdict_->setWordWrap(true);
    form->addRow(QString(), verdict_);

    label_ = new QLineEdit();
    label_->setObjectName("label");
    label_->setAccessibleName("Label");
    label_->setPlaceholderText("Optional name");
    form->addRow(buddyLabel("&Label:", label_), label_);

    content_ = new QPlainTextEdit();
    content_->setObjectName("content");
    content_->setAccessibleName("Content");
    content_->setTabChangesFocus(true);
    content_->setPlaceholderText("What it expands to; macros such as {{date}} work here");
    form->addRow(buddyLabel("&Content:", content_), content_);

    group_ = new QComboBox();
    group_->setObjectName("group");
    group_->setAccessibleName("Group");
    form->addRow(buddyLabel("&Group:", group_), group_);

    type_ = new QComboBox();
    type_->setObjectName("type");
    type_->setAccessibleName("Content type");
    for (const auto& choice : typeChoices) {
        type_->addItem(choice.name, static_cast<int>(choice.type));
    }
    form->addRow(buddyLabel("&Type:", type_), type_);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel);
    saveButton_ = buttons->button(QDialogButtonBox::Save);
    saveButton_->setAccessibleName("Save");
    buttons->button(QDialogButtonBox::Cancel)->setAccessibleName("Cancel");
    QObject::connect(buttons, &QDialogButtonBox::accepted, this, [this] { save(); });
    QObject::connect(buttons, &QDialogButtonBox::rejected, this, [this] { cancel(); });
    layout->addWidget(buttons);

    QObject::connect(abbreviation_, &QLineEdit::textChanged, this, [this] { recheck(); });
}

void QuickCreatePanel::present(const SnippetDraft& draft,
                               const std::vector<std::string>& groupNames) {
    group_->clear();
    group_->addItem("None", QString());
    for (const auto& name : groupNames) {
        group_->addItem(qt(name), qt(name));
    }
    abbreviation_->setText(qt(draft.abbreviation));
    label_->setText(qt(draft.label));
    content_->setPlainText(qt(draft.content));
    const int group = group_->findData(qt(draft.groupName), Qt::UserRole, Qt::MatchFixedString);
    group_->setCurrentIndex(group >= 0 ? group : 0);
    type_->setCurrentIndex(std::max(0, type_->findData(static_cast<int>(draft.contentType))));
    recheck();
    open_ = true;
    centreOnScreenWithMouse(*this);
    show();
    raise();
    activateWindow();
    abbreviation_->setFocus();
    abbreviation_->selectAll();
}

SnippetDraft QuickCreatePanel::draft() const {
    SnippetDraft draft;
    draft.abbreviation = abbreviation_->text().toStdString();
    draft.label = label_->text().toStdString();
    draft.content = content_->toPlainText().toStdString();
    draft.groupName = group_->currentData().toString().toStdString();
    draft.contentType = static_cast<ContentType>(type_->currentData().toInt());
    return draft;
}

void QuickCreatePanel::recheck() {
    const auto verdict = actions_.check ? actions_.check(draft()) : AbbreviationVerdict{};
    const bool empty = abbreviation_->text().isEmpty();
    // A blank field is not an error until something was typed: say what is needed instead.
    verdict_->setText(empty ? QString("Type the abbreviation that will expand.")
                            : qt(verdict.message));
    verdict_->setForegroundRole(verdict.kind == AbbreviationVerdict::Kind::acceptable || empty
                                    ? QPalette::PlaceholderText
                                    : QPalette::WindowText);
    verdict_->setVisible(true);
    saveButton_->setEnabled(verdict.allowsSaving());
}

void QuickCreatePanel::save() {
    if (!saveButton_->isEnabled()) {
        abbreviation_->setFocus();
        return;
    }
    if (actions_.save) {
        if (const auto refusal = actions_.save(draft())) {
            verdict_->setText(qt(*refusal));
            verdict_->setForegroundRole(QPalette::WindowText);
            return;
        }
    }
    finish();
}

void QuickCreatePanel::cancel() {
    finish();
}

void QuickCreatePanel::finish() {
    if (!open_) {
        return;
    }
    open_ = false;
    hide();
    if (actions_.closed) {
        actions_.closed();
    }
}

void QuickCreatePanel::keyPressEvent(QKeyEvent* event) {
    const bool inContent = focusWidget() == content_;
    if (event->key() == Qt::Key_Escape) {
        cancel();
    } else if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) &&
               (!inContent || event->modifiers() & Qt::ControlModifier)) {
        save();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void QuickCreatePanel::closeEvent(QCloseEvent* event) {
    event->ignore();
    cancel();
}

}  // namespace wordloom
