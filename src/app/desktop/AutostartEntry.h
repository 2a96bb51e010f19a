#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace wordloom {

/// The XDG autostart entry that starts Wordloom when the user logs in:
/// $XDG_CONFIG_HOME/autostart/wordloom.desktop (~/.config when the variable is unset).
class AutostartEntry {
  public:
    /// `configHome` is the XDG config folder; `command` the command line the entry runs.
    AutostartEntry(std::filesystem::path configHome, std::string command);

    /// The entry for this user, running `executable start`.
    static AutostartEntry forUser(const std::filesystem::path& executable);

    /// Whether the desktop will start Wordloom at login: the file exists and is not hidden.
    bool isPresent() const;
    /// Writes or removes the entry. Returns the reason when that failed.
    std::optional<std::string> set(bool present) const;

    const std::filesystem::path& file() const { return file_; }
    /// The entry's text.
    std::string contents() const;

  private:
    std::filesystem::path file_;
    std::string command_;
};

}  // namespace wordloom
