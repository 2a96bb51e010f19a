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
    static QApplication application(argc, argv);
    return application;
}

}  // namespace wordloom::test
