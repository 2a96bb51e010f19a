#include <gtest/gtest.h>
#include <signal.h>

#include <QClipboard>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <functional>
#include <map>

#include "platform/x11/X11Pasteboard.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

/// Runs the event loop, serving our selections to other programs, until `done` (at most 10 s).
bool serveUntil(const std::function<bool()>& done) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > 10000) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
}

/// Another program owning the clipboard with the given formats.
class ClipboardOwner {
  public:
    ClipboardOwner(const test::TemporaryDirectory& folder,
                   const std::map<std::string, std::string>& formats) {
        QStringList arguments{"copy"};
        int index = 0;
        for (const auto& [type, bytes] : formats) {
            const QString file =
                QString::fromStdString((folder / std::to_string(index++)).string());
            QFile out(file);
            out.open(QIODevice::WriteOnly);
            out.write(bytes.data(), static_cast<qint64>(bytes.size()));
            arguments << QString::fromStdString(type) << file;
        }
        process_.start(WORDLOOM_TEST_WINDOW, arguments);
        owning_ = serveUntil([&] {
                      process_.waitForReadyRead(10);
                      output_ += process_.readAllStandardOutput();
                      return output_.contains("owning") || process_.state() == QProcess::NotRunning;
                  }) &&
                  output_.contains("owning");
    }
    ~ClipboardOwner() {
        resume();
        process_.kill();
        process_.waitForFinished(5000);
    }
    bool owning() const { return owning_; }
    void stop() { kill(static_cast<pid_t>(process_.processId()), SIGSTOP); }
    void resume() { kill(static_cast<pid_t>(process_.processId()), SIGCONT); }

  private:
    QProcess process_;
    QByteArray output_;
    bool owning_ = false;
};

/// The clipboard as another program reads it: each format's bytes by type.
std::map<std::string, std::string> readByAnotherProgram(const test::TemporaryDirectory& folder) {
    const QString into = QString::fromStdString((folder / "read").string());
    QDir(into).removeRecursively();
    QProcess reader;
    reader.start(WORDLOOM_TEST_WINDOW, {"read", into});
    EXPECT_TRUE(serveUntil([&] { return reader.state() == QProcess::NotRunning; }));
    std::map<std::string, std::string> formats;
    for (const QString& name : QDir(into).entryList(QDir::Files)) {
        QFile file(into + "/" + name);
        file.open(QIODevice::ReadOnly);
        formats[QByteArray::fromHex(name.toLatin1()).toStdString()] = file.readAll().toStdString();
    }
    return formats;
}

const std::map<std::string, std::string> userFormats = {
    {"text/plain", "user text"},
    {"text/html", "<b>user</b> text"},
    {"application/x-wordloom-test", std::string("\0\x01\xFF\x80 binary\r\n", 13)}};

std::optional<std::string> find(const PasteboardSnapshot& snapshot, const std::string& type) {
    for (const auto& item : snapshot) {
        if (item.type == type) {
            return item.data;
        }
    }
    return std::nullopt;
}

TEST(X11PasteboardTests, AnotherOwnersFormatsAreSavedAndPutBackByteForByte) {
    test::TemporaryDirectory folder;
    X11Pasteboard pasteboard;
    const auto before = pasteboard.changeCount(PasteboardSelection::clipboard);
    ClipboardOwner owner(folder, userFormats);
    ASSERT_TRUE(owner.owning());
    ASSERT_TRUE(serveUntil(
        [&] { return pasteboard.changeCount(PasteboardSelection::clipboard) > before; }));
    ASSERT_TRUE(serveUntil([] { return !QGuiApplication::clipboard()->ownsClipboard(); }));

    const auto snapshot = pasteboard.snapshot(PasteboardSelection::clipboard);
    ASSERT_TRUE(snapshot);
    for (const auto& [type, bytes] : userFormats) {
        EXPECT_EQ(find(*snapshot, type), bytes) << type;
    }
    for (const char* meta : {"TARGETS", "MULTIPLE", "TIMESTAMP", "SAVE_TARGETS"}) {
        EXPECT_FALSE(find(*snapshot, meta)) << meta;
    }

    // Our own write is counted when made; the owner change it causes is not counted again,
    // or the restore would take our contents for someone else's.
    const auto ours = pasteboard.write(
        PasteboardSelection::clipboard,
        {{pasteboardType::plainTextUtf8, "ours"}, {pasteboardType::plainText, "ours"}});
    EXPECT_EQ(readByAnotherProgram(folder).at("text/plain"), "ours");
    EXPECT_EQ(pasteboard.changeCount(PasteboardSelection::clipboard), ours);

    pasteboard.write(PasteboardSelection::clipboard, *snapshot);
    const auto restored = readByAnotherProgram(folder);
    for (const auto& [type, bytes] : userFormats) {
        EXPECT_EQ(restored.count(type) ? restored.at(type) : "<missing>", bytes) << type;
    }
}

TEST(X11PasteboardTests, AHungOwnerMakesTheContentsUnreadableInsteadOfBlocking) {
    test::TemporaryDirectory folder;
    X11Pasteboard pasteboard;
    const auto before = pasteboard.changeCount(PasteboardSelection::clipboard);
    ClipboardOwner owner(folder, {{"text/plain", "frozen"}});
    ASSERT_TRUE(owner.owning());
    ASSERT_TRUE(serveUntil(
        [&] { return pasteboard.changeCount(PasteboardSelection::clipboard) > before; }));
    // Qt learns on its own connection that an earlier test's contents of ours were replaced.
    ASSERT_TRUE(serveUntil([] { return !QGuiApplication::clipboard()->ownsClipboard(); }));
    EXPECT_EQ(pasteboard.plainText(), "frozen");

    owner.stop();
    EXPECT_EQ(pasteboard.snapshot(PasteboardSelection::clipboard), std::nullopt);
    EXPECT_EQ(pasteboard.plainText(), std::nullopt);
    owner.resume();
    EXPECT_EQ(pasteboard.plainText(), "frozen");
}

TEST(X11PasteboardTests, RichTextAndImagesReachOtherProgramsInTheirAddedForms) {
    test::TemporaryDirectory folder;
    X11Pasteboard pasteboard;
    const auto items = pasteboard.withPlatformRepresentations(
        {{pasteboardType::rtf, "{\\rtf1 \\b bold}"}, {pasteboardType::plainText, "bold"}});
    pasteboard.write(PasteboardSelection::clipboard, items);
    const auto read = readByAnotherProgram(folder);
    ASSERT_TRUE(read.count("text/html"));
    EXPECT_NE(read.at("text/html").find("<b>bold</b>"), std::string::npos);
    EXPECT_EQ(read.count("text/rtf") ? read.at("text/rtf") : "", "{\\rtf1 \\b bold}");
}

}  // namespace
}  // namespace wordloom
