#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "core/base/FileIO.h"
#include "platform/x11/SecretServiceTokenStore.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

/// A session bus of its own with an unlocked gnome-keyring-daemon on it, for one test process
/// (CTest runs each test in a process of its own, so libsecret's bus connection is never one
/// from another test).
class PrivateKeyring {
  public:
    explicit PrivateKeyring(const std::filesystem::path& home) {
        setenv("HOME", home.c_str(), 1);
        setenv("XDG_RUNTIME_DIR", home.c_str(), 1);
        setenv("XDG_DATA_HOME", (home / "data").c_str(), 1);
        const auto bus = run("dbus-daemon --session --fork --print-address=1 --print-pid=1");
        const auto newline = bus.find('\n');
        address_ = bus.substr(0, newline);
        busPid_ = std::atoi(bus.substr(newline + 1).c_str());
        setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
        run("printf 'wordloom-test' | gnome-keyring-daemon --unlock --components=secrets "
            "--daemonize");
    }
    ~PrivateKeyring() {
        // The keyring daemon leaves with its bus.
        if (busPid_ > 0) {
            kill(busPid_, SIGTERM);
        }
    }
    bool isRunning() const { return !address_.empty() && busPid_ > 0; }

  private:
    static std::string run(const std::string& command) {
        std::string out;
        if (FILE* pipe = popen(command.c_str(), "r")) {
            char buffer[512];
            while (fgets(buffer, sizeof buffer, pipe)) {
                out += buffer;
            }
            pclose(pipe);
        }
        return out;
    }
    std::string address_;
    int busPid_ = 0;
};

TEST(SecretServiceTokenStore, KeepsTheTokenInTheKeyringAndNoCopyInAFile) {
    test::TemporaryDirectory home;
    PrivateKeyring keyring(home.path());
    ASSERT_TRUE(keyring.isRunning());
    const auto file = home / "cloudkit-web-auth-token";
    writeFileAtomically(file, "old token from the file");
    SecretServiceTokenStore store("iCloud.com.corvelindahl.Wordloom", "production", file);
    store.save("web+token/1==");
    EXPECT_TRUE(store.usedSecretService());
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(store.load(), "web+token/1==");
    // Another environment is another entry.
    SecretServiceTokenStore development("iCloud.com.corvelindahl.Wordloom", "development", file);
    EXPECT_EQ(development.load(), std::nullopt);
    store.clear();
    EXPECT_EQ(store.load(), std::nullopt);
}

TEST(SecretServiceTokenStore, WithoutASecretServiceUsesAPrivateFileWithinTheDeadline) {
    test::TemporaryDirectory home;
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (home / "no-bus").string()).c_str(), 1);
    const auto file = home / "cloudkit-web-auth-token";
    SecretServiceTokenStore store("iCloud.x", "production", file, std::chrono::milliseconds(500));
    store.save("web+token/2==");
    EXPECT_FALSE(store.usedSecretService());
    EXPECT_EQ(readFile(file), "web+token/2==");
    struct stat info {};
    ASSERT_EQ(stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(store.load(), "web+token/2==");
    store.clear();
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace wordloom
