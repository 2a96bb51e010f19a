#include "app/desktop/AutostartEntry.h"

#include <cstdlib>
#include <fstream>

#include "core/base/FileIO.h"

namespace wordloom {

namespace {

/// Quotes an argument for a desktop entry's Exec key when it needs it.
std::string execArgument(const std::string& argument) {
    if (argument.find_first_of(" \t\n\"'\\><~|&;$*?#()`") == std::string::npos) {
        return argument;
    }
    std::string quoted = "\"";
    for (const char character : argument) {
        if (character == '"' || character == '`' || character == '$' || character == '\\') {
            quoted += '\\';
        }
        quoted += character;
    }
    return quoted + "\"";
}

}  // namespace

AutostartEntry::AutostartEntry(std::filesystem::path configHome, std::string command)
    : file_(std::move(configHome) / "autostart" / "wordloom.desktop"),
      command_(std::move(command)) {}

AutostartEntry AutostartEntry::forUser(const std::filesystem::path& executable) {
    std::filesystem::path configHome;
    if (const char* config = std::getenv("XDG_CONFIG_HOME"); config && *config == '/') {
        configHome = config;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
        configHome = std::filesystem::path(home) / ".config";
    }
    return AutostartEntry(configHome, execArgument(executable.string()) + " start");
}

bool AutostartEntry::isPresent() const {
    std::ifstream stream(file_);
    if (!stream) {
        return false;
    }
    std::string line;
    while (std::getline(stream, line)) {
        if (line == "Hidden=true") {
            return false;  // the way a desktop's own settings turn an entry off
        }
    }
    return true;
}

std::string AutostartEntry::contents() const {
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Wordloom\n"
           "Comment=Expand abbreviations into text as you type\n"
           "Exec=" +
           command_ +
           "\n"
           "Icon=wordloom\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

std::optional<std::string> AutostartEntry::set(bool present) const {
    std::error_code error;
    if (!present) {
        if (!std::filesystem::remove(file_, error) && error) {
            return "Couldn't remove " + file_.string() + ": " + error.message();
        }
        return std::nullopt;
    }
    std::filesystem::create_directories(file_.parent_path(), error);
    if (error) {
        return "Couldn't create " + file_.parent_path().string() + ": " + error.message();
    }
    try {
        writeFileAtomically(file_, contents());
    } catch (const std::exception& failure) {
        return "Couldn't write " + file_.string() + ": " + failure.what();
    }
    return std::nullopt;
}

}  // namespace wordloom
