#pragma once

#include <QApplication>

namespace wordloom::test {

/// The one QApplication of the test program, on Qt's offscreen platform: the windows are
/// built, laid out, drawn and driven with keys without a display.
inline QApplication& offscreenApplication() {
    static int argc = 1;
    static char name[] = "ui_tests";
    static char* argv[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // Never destroyed: tearing Qt down among the program's other static objects at exit
    // crashes, and the process ends right after anyway.
    static QApplication* application = new QApplication(argc, argv);
    return *application;
}

}  // namespace wordloom::test
