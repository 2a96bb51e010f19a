#include "ui/LibraryMacroBuilder.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPalette>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <stdexcept>

#include "core/macros/MacroParser.h"

namespace wordloom {

namespace {

/// A small form: fields added in order, OK builds the macro, a refusal is shown in the form.
class MacroForm final : public QDialog {
  public:
    MacroForm(QWidget* parent, const QString& title) : QDialog(parent) {
        setWindowTitle(title);
        setAccessibleName(title);
        auto* layout = new QVBoxLayout(this);
        form_ = new QFormLayout();
        layout->addLayout(form_);
        error_ = new QLabel();
        error_->setObjectName("macroFormError");
        error_->setWordWrap(true);
        layout->addWidget(error_);
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
        buttons->button(QDialogButtonBox::Ok)->setText("&Insert");
        layout->addWidget(buttons);
        connect(buttons, &QDialogButtonBox::accepted, this, [this] { tryAccept(); });
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    }

    template <typename Widget>
    Widget* add(const QString& label, Widget* widget) {
        auto* buddy = new QLabel(label);
        buddy->setBuddy(widget);
        widget->setAccessibleName(QString(label).remove('&').remove(':'));
        form_->addRow(buddy, widget);
        return widget;
    }
    QLineEdit* line(const QString& label, const QString& text = {}) {
        return add(label, new QLineEdit(text));
    }
    QComboBox* choice(const QString& label, const std::vector<std::string>& items) {
        auto* box = add(label, new QComboBox());
        for (const auto& item : items) {
            box->addItem(QString::fromStdString(item));
        }
        return box;
    }
    QSpinBox* number(const QString& label, int low, int high, int value) {
        auto* box = add(label, new QSpinBox());
        box->setRange(low, high);
        box->setValue(value);
        return box;
    }

    std::function<BuiltMacro()> build;
    BuiltMacro built;

  private:
    void tryAccept() {
        try {
            built = build();
            accept();
        } catch (const std::invalid_argument& error) {
            error_->setText(QString::fromUtf8(error.what()));
        }
    }

    QFormLayout* form_ = nullptr;
    QLabel* error_ = nullptr;
};

std::string text(const QLineEdit* edit) {
    return edit->text().toStdString();
}

}  // namespace

void fillMacroMenu(QMenu& menu, QWidget* formParent,
                   std::function<std::vector<std::string>()> abbreviations,
                   std::function<void(const BuiltMacro&)> insert) {
    const auto direct = [&menu, insert](const QString& title, const char* keyword) {
        QObject::connect(menu.addAction(title), &QAction::triggered,
                         [insert, keyword] { insert(macroSyntax::plain(keyword)); });
    };
    // Opens `makeForm`'s form and inserts what it builds.
    const auto withForm = [&menu, formParent, insert](const QString& title, auto makeForm) {
        QObject::connect(menu.addAction(title + QString::fromUtf8("\u2026")), &QAction::triggered,
                         [formParent, insert, title, makeForm] {
                             MacroForm form(formParent, QString(title).remove('&'));
                             makeForm(form);
                             if (form.exec() == QDialog::Accepted) {
                                 insert(form.built);
                             }
                         });
    };

    withForm("&Date or Time", [](MacroForm& form) {
        auto* keyword =
            form.choice("&Macro:", {"date", "time", "today", "now", "tomorrow", "yesterday"});
        auto* offset = form.number("&Offset:", -100000, 100000, 0);
        auto* unit = form.choice("&Unit:", {"d", "w", "m", "y", "H", "M"});
        unit->setItemText(0, "d (days)");
        unit->setItemText(1, "w (weeks)");
        unit->setItemText(2, "m (months)");
        unit->setItemText(3, "y (years)");
        unit->setItemText(4, "H (hours)");
        unit->setItemText(5, "M (minutes)");
        auto* format = form.line("&Format:");
        format->setPlaceholderText("Such as EEEE, MMMM d or HH:mm; empty for the usual one");
        form.build = [=] {
            const char units[] = "dwmyHM";
            return macroSyntax::date(keyword->currentText().toStdString(), offset->value(),
                                     units[std::max(0, unit->currentIndex())], text(format));
        };
    });
    direct("&Clipboard", "clipboard");
    direct("&Selected Text", "selected");
    direct("C&ursor Position", "cursor");
    withForm("&Key Press", [](MacroForm& form) {
        auto* name = form.choice("&Key:", macroSyntax::keyNames());
        form.build = [=] { return macroSyntax::key(name->currentText().toStdString()); };
    });
    direct("U&UID", "uuid");
    withForm("&Random Number", [](MacroForm& form) {
        auto* low = form.number("&From:", -1000000, 1000000, 1);
        auto* high = form.number("&To:", -1000000, 1000000, 100);
        form.build = [=] { return macroSyntax::random(low->value(), high->value()); };
    });
    withForm("&Nested Snippet", [abbreviations](MacroForm& form) {
        auto* name = form.choice("&Snippet:", abbreviations());
        name->setEditable(true);
        form.build = [=] { return macroSyntax::snippet(name->currentText().toStdString()); };
    });
    menu.addSeparator();
    withForm("&Fill-in Field", [](MacroForm& form) {
        auto* name = form.line("&Name:");
        auto* value = form.line("&Default:");
        auto* width = form.number("&Width (0: usual):", 0, 500, 0);
        form.build = [=] { return macroSyntax::input(text(name), text(value), width->value()); };
    });
    withForm("&Multi-line Field", [](MacroForm& form) {
        auto* name = form.line("&Name:");
        auto* value = form.line("&Default:");
        auto* rows = form.number("&Rows (0: usual):", 0, 100, 0);
        form.build = [=] { return macroSyntax::textarea(text(name), text(value), rows->value()); };
    });
    withForm("Dro&pdown", [](MacroForm& form) {
        auto* name = form.line("&Name:");
        auto* options = form.add("&Options, one a line:", new QPlainTextEdit());
        auto* value = form.line("&Default:");
        form.build = [=] {
            std::vector<std::string> items;
            for (const auto& line : options->toPlainText().split('\n', Qt::SkipEmptyParts)) {
                items.push_back(line.toStdString());
            }
            return macroSyntax::select(text(name), items, text(value));
        };
    });
    withForm("&Optional Section", [](MacroForm& form) {
        auto* name = form.line("&Name:");
        auto* ticked = form.add("&Included by default:", new QCheckBox());
        form.build = [=] { return macroSyntax::optionalSection(text(name), ticked->isChecked()); };
    });
    withForm("C&ondition", [](MacroForm& form) {
        auto* left = form.line("&Value:");
        left->setPlaceholderText("Such as {{input:Plan}}: macros here are evaluated first");
        auto operators = macroSyntax::conditionOperators();
        operators.insert(operators.begin(), "");
        auto* op = form.choice("&Operator:", operators);
        op->setItemText(0, "(none: true unless empty, false, 0, no or off)");
        auto* right = form.line("&Compared with:");
        form.build = [=] {
            return macroSyntax::condition(
                text(left),
                op->currentIndex() == 0 ? std::string() : op->currentText().toStdString(),
                text(right));
        };
    });
    menu.addSeparator();
    withForm("&JavaScript", [](MacroForm& form) {
        auto* code = form.add("&Code (a function body):", new QPlainTextEdit("return "));
        form.build = [=] { return macroSyntax::script(code->toPlainText().toStdString()); };
    });
    withForm("&AI Text", [](MacroForm& form) {
        auto* prompt = form.add("&Prompt:", new QPlainTextEdit());
        form.build = [=] { return macroSyntax::ai(prompt->toPlainText().toStdString()); };
    });
}

void MacroHighlighter::highlightBlock(const QString& blockText) {
    const QByteArray utf8 = blockText.toUtf8();
    const std::string_view content(utf8.constData(), static_cast<std::size_t>(utf8.size()));
    // Byte offsets of the parser's answer, turned into the block's UTF-16 positions.
    const auto position = [&utf8](std::size_t byte) {
        return static_cast<int>(
            QString::fromUtf8(utf8.constData(), static_cast<qsizetype>(byte)).size());
    };
    QTextCharFormat known;
    known.setForeground(QApplication::palette().brush(QPalette::Link));
    QTextCharFormat unknown;
    unknown.setUnderlineStyle(QTextCharFormat::WaveUnderline);
    unknown.setUnderlineColor(QApplication::palette().color(QPalette::Text));
    unknown.setToolTip("Not a macro Wordloom knows: inserted as typed.");

    std::size_t covered = 0;  // bytes before this belong to a recognised macro
    const auto markUnknownUpTo = [&](std::size_t end) {
        std::size_t open = content.find("{{", covered);
        while (open != std::string_view::npos && open < end) {
            const std::size_t close = content.find("}}", open + 2);
            const std::size_t stop =
                close == std::string_view::npos || close + 2 > end ? end : close + 2;
            setFormat(position(open), position(stop) - position(open), unknown);
            open = content.find("{{", stop);
        }
    };
    for (const auto& macro : MacroParser::parse(content)) {
        markUnknownUpTo(macro.byteRange.start);
        setFormat(position(macro.byteRange.start),
                  position(macro.byteRange.end) - position(macro.byteRange.start), known);
        covered = macro.byteRange.end;
    }
    markUnknownUpTo(content.size());
}

}  // namespace wordloom
