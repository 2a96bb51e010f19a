#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace wordloom {

/// A handful of flags kept outside the library (such as "dateTimeGroupCreated"), in a small
/// JSON object file. Values of keys this build does not know are kept as they are. A file that
/// cannot be read is treated as empty and logged; a failed write is logged and the value stays
/// in memory.
class UserDefaults {
  public:
    static constexpr std::string_view fileName = "defaults.json";

    /// Reads `file` if it exists.
    explicit UserDefaults(std::filesystem::path file);

    bool boolForKey(std::string_view key) const;
    /// Sets the flag and writes the file at once. Returns false when the write failed.
    bool setBool(std::string_view key, bool value);

    /// A text value (such as where a window was left), or nullopt when absent or not text.
    std::optional<std::string> stringForKey(std::string_view key) const;
    /// Sets a text value and writes the file at once. Returns false when the write failed.
    bool setString(std::string_view key, std::string_view value);

    /// The JSON text of a value of any type (objects included), as the file holds it.
    std::optional<std::string> jsonForKey(std::string_view key) const;
    /// Sets a value given as JSON text (it must be valid JSON) and writes the file at once.
    bool setJson(std::string_view key, std::string json);

    /// Removes a value and writes the file at once (nothing is written when it was absent).
    bool removeValue(std::string_view key);

    const std::filesystem::path& file() const { return file_; }

  private:
    bool write();

    std::filesystem::path file_;
    mutable std::mutex mutex_;
    std::map<std::string, std::string, std::less<>> rawValues_;  // key -> JSON text of the value
};

}  // namespace wordloom
