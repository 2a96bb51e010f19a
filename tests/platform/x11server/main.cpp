// One private X server and one QGuiApplication on it for every test of this program: Qt allows
// one application object per process.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/x11server/PrivateXServer.h"
#include "support/TemporaryDirectory.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // A desktop entry the application-id lookup must find, in a data folder of our own.
    wordloom::test::TemporaryDirectory data;
    std::filesystem::create_directories(data.path() / "applications");
    std::ofstream(data.path() / "applications" / "org.example.Notes.desktop")
        << "[Desktop Entry]\nType=Application\nName=Notes\nStartupWMClass=ExampleNotes\n";
    setenv("XDG_DATA_HOME", data.path().c_str(), 1);
    setenv("XDG_DATA_DIRS", data.path().c_str(), 1);
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    setenv("LC_ALL", "C.UTF-8", 1);

    wordloom::test::PrivateXServer server;
    QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
