// A Qt program the desktop tests drive: a text editor that reports its text, and a clipboard
// owner or reader that works with every format byte for byte.
//
//   wordloom-test-window editor OUTPUT          writes the editor's text to OUTPUT on every
//                                               change, its caret to OUTPUT.caret
//   wordloom-test-window rich OUTPUT            a rich-text editor: writes its plain text to
//                                               OUTPUT, and each format a paste offered to
//                                               OUTPUT.pasted/<hex type> (the folder appears
//                                               complete, after the paste is inserted)
//   wordloom-test-window copy TYPE FILE ...     owns the clipboard with those formats until killed
//   wordloom-test-window read FOLDER            writes each clipboard format to FOLDER/<hex type>
//   wordloom-test-window screenshot FILE        saves the whole screen as a PNG

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QMimeData>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QSaveFile>
#include <QScreen>
#include <QTextCursor>
#include <QTextEdit>
#include <QTimer>
#include <cstdio>

namespace {

void save(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(bytes);
        file.commit();
    }
}

int runEditor(QApplication& application, const QString& output) {
    QPlainTextEdit editor;
    editor.setWindowTitle("Wordloom Qt Editor");
    editor.resize(700, 400);
    const auto report = [&] {
        save(output, editor.toPlainText().toUtf8());
        save(output + ".caret", QByteArray::number(editor.textCursor().position()));
    };
    QObject::connect(&editor, &QPlainTextEdit::textChanged, report);
    QObject::connect(&editor, &QPlainTextEdit::cursorPositionChanged, report);
    report();
    editor.show();
    editor.activateWindow();
    editor.setFocus();
    return application.exec();
}

/// Accepts what a paste offers, as a word processor would, and keeps a copy of each format.
/// Every format is fetched in one run, then the paste inserted from the clipboard itself, and
/// only then are the copies written: writing between fetches would make this a far slower
/// paster than any real one. The copies appear all at once (a folder renamed into place), so
/// a reader never sees some formats and not others.
class RecordingEditor final : public QTextEdit {
  public:
    explicit RecordingEditor(QString folder) : folder_(std::move(folder)) {}

  protected:
    void insertFromMimeData(const QMimeData* source) override {
        QList<QPair<QString, QByteArray>> formats;
        for (const QString& type : source->formats()) {
            formats.append({type, source->data(type)});
        }
        QTextEdit::insertFromMimeData(source);

        const QString staging = folder_ + ".partial";
        QDir(staging).removeRecursively();
        QDir(folder_).removeRecursively();
        QDir().mkpath(staging);
        for (const auto& [type, bytes] : formats) {
            QFile file(staging + "/" + QString::fromLatin1(type.toUtf8().toHex()));
            if (file.open(QIODevice::WriteOnly)) {
                file.write(bytes);
            }
        }
        QDir().rename(staging, folder_);
    }

  private:
    QString folder_;
};

int runRichEditor(QApplication& application, const QString& output) {
    RecordingEditor editor(output + ".pasted");
    editor.setWindowTitle("Wordloom Qt Rich Editor");
    editor.resize(700, 400);
    const auto report = [&] { save(output, editor.toPlainText().toUtf8()); };
    QObject::connect(&editor, &QTextEdit::textChanged, report);
    report();
    editor.show();
    editor.activateWindow();
    editor.setFocus();
    return application.exec();
}

int runCopy(QApplication& application, const QStringList& pairs) {
    auto* data = new QMimeData();
    for (int i = 0; i + 1 < pairs.size(); i += 2) {
        QFile file(pairs[i + 1]);
        if (!file.open(QIODevice::ReadOnly)) {
            return 2;
        }
        data->setData(pairs[i], file.readAll());
    }
    QApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
    std::puts("owning");
    std::fflush(stdout);
    return application.exec();
}

int runRead(const QString& folder) {
    QDir().mkpath(folder);
    const QMimeData* data = QApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (!data) {
        return 1;
    }
    for (const QString& type : data->formats()) {
        if (type == "TARGETS" || type == "MULTIPLE" || type == "TIMESTAMP" ||
            type == "SAVE_TARGETS") {
            continue;
        }
        save(folder + "/" + QString::fromLatin1(type.toUtf8().toHex()), data->data(type));
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() >= 3 && arguments[1] == "editor") {
        return runEditor(application, arguments[2]);
    }
    if (arguments.size() >= 3 && arguments[1] == "rich") {
        return runRichEditor(application, arguments[2]);
    }
    if (arguments.size() >= 4 && arguments[1] == "copy") {
        return runCopy(application, arguments.mid(2));
    }
    if (arguments.size() >= 3 && arguments[1] == "read") {
        return runRead(arguments[2]);
    }
    if (arguments.size() >= 3 && arguments[1] == "screenshot") {
        return QGuiApplication::primaryScreen()->grabWindow(0).save(arguments[2], "PNG") ? 0 : 1;
    }
    std::fputs(
        "usage: wordloom-test-window editor OUTPUT | rich OUTPUT | copy TYPE FILE... | "
        "read FOLDER | "
        "screenshot FILE\n",
        stderr);
    return 2;
}
