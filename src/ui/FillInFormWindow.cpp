#include "ui/FillInFormWindow.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace wordloom {

namespace {

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

}  // namespace

FillInFormWindow::FillInFormWindow(const std::string& title, std::vector<FillInField> fields,
                                   Done done)
    : QWidget(nullptr, Qt::Dialog | Qt::WindowStaysOnTopHint),
      fields_(std::move(fields)),
      done_(std::move(done)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(qt(title.empty() ? "Fill In" : title));
    setObjectName("WordloomFillInForm");
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout();
    layout->addLayout(form);

    QWidget* first = nullptr;
    for (const auto& field : fields_) {
        if (editors_.count(field.valueKey)) {
            continue;  // fields sharing a key share one control
        }
        const QString initial = qt(field.value.empty() ? field.defaultValue : field.value);
        QWidget* editor = nullptr;
        switch (field.type) {
            case FillInType::singleLine: {
                auto* line = new QLineEdit(initial);
                QObject::connect(line, &QLineEdit::returnPressed, this, [this] { submit(); });
                editor = line;
                break;
            }
            case FillInType::multiLine:
                editor = new QPlainTextEdit(initial);
                break;
            case FillInType::dropdown: {
                auto* box = new QComboBox();
                for (const auto& option : field.options) {
                    box->addItem(qt(option));
                }
                if (const int index = box->findText(initial); index >= 0) {
                    box->setCurrentIndex(index);
                }
                editor = box;
                break;
            }
            case FillInType::checkbox: {
                auto* box = new QCheckBox();
                box->setChecked(initial == checkbox::on);
                editor = box;
                break;
            }
        }
        editor->setObjectName(qt(field.valueKey));
        editors_[field.valueKey] = editor;
        form->addRow(new QLabel(qt(field.name.empty() ? "Value" : field.name)), editor);
        if (!first) {
            first = editor;
        }
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText("Insert");
    QObject::connect(buttons, &QDialogButtonBox::accepted, this, [this] { submit(); });
    QObject::connect(buttons, &QDialogButtonBox::rejected, this, [this] { cancel(); });
    layout->addWidget(buttons);
    if (first) {
        first->setFocus();
    }
}

QWidget* FillInFormWindow::editorFor(const std::string& valueKey) const {
    const auto found = editors_.find(valueKey);
    return found == editors_.end() ? nullptr : found->second;
}

void FillInFormWindow::keyPressEvent(QKeyEvent* event) {
    const bool inTextArea = qobject_cast<QPlainTextEdit*>(focusWidget()) != nullptr;
    if (event->key() == Qt::Key_Escape) {
        cancel();
    } else if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) &&
               (!inTextArea || event->modifiers() & Qt::ControlModifier)) {
        submit();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void FillInFormWindow::closeEvent(QCloseEvent* event) {
    finish(std::nullopt);
    event->accept();
}

void FillInFormWindow::submit() {
    auto values = fields_;
    for (auto& field : values) {
        QWidget* editor = editors_[field.valueKey];
        if (auto* line = qobject_cast<QLineEdit*>(editor)) {
            field.value = line->text().toStdString();
        } else if (auto* area = qobject_cast<QPlainTextEdit*>(editor)) {
            field.value = area->toPlainText().toStdString();
        } else if (auto* combo = qobject_cast<QComboBox*>(editor)) {
            field.value = combo->currentText().toStdString();
        } else if (auto* box = qobject_cast<QCheckBox*>(editor)) {
            field.value = box->isChecked() ? checkbox::on : checkbox::off;
        }
    }
    finish(std::move(values));
}

void FillInFormWindow::cancel() {
    finish(std::nullopt);
}

void FillInFormWindow::finish(std::optional<std::vector<FillInField>> result) {
    if (!done_) {
        return;
    }
    auto done = std::move(done_);
    done_ = nullptr;
    hide();
    close();
    done(std::move(result));
}

void QtFillInFormPresenter::present(
    const std::string& title, const std::vector<FillInField>& fields,
    std::function<void(std::optional<std::vector<FillInField>>)> done) {
    auto* window = new FillInFormWindow(
        title, fields, [aboutToReturn = aboutToReturn_, done = std::move(done)](auto result) {
            // Let the window manager take the form away before focus goes back.
            QTimer::singleShot(0, [aboutToReturn, done, result = std::move(result)] {
                if (aboutToReturn) {
                    aboutToReturn();
                }
                done(result);
            });
        });
    window->show();
    window->raise();
    window->activateWindow();
}

}  // namespace wordloom
