#include "core/library/UserDefaults.h"

#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/base/Log.h"

namespace wordloom {
namespace {

const Logger& logger() {
    static const Logger instance("UserDefaults");
    return instance;
}

}  // namespace

UserDefaults::UserDefaults(std::filesystem::path file) : file_(std::move(file)) {
    try {
        const auto text = readFileIfExists(file_);
        if (!text) {
            return;
        }
        JsonDocument document(*text);
        const auto object = json::asObject(document.root());
        if (!object) {
            logger().error("Ignoring " + file_.string() + ": it is not a JSON object.");
            return;
        }
        for (auto [key, value] : *object) {
            rawValues_.emplace(std::string(key), simdjson::minify(value));
        }
    } catch (const std::exception& error) {
        logger().error("Couldn't read " + file_.string() + ": " + error.what());
    }
}

bool UserDefaults::boolForKey(std::string_view key) const {
    std::lock_guard lock(mutex_);
    const auto it = rawValues_.find(key);
    return it != rawValues_.end() && it->second == "true";
}

bool UserDefaults::setBool(std::string_view key, bool value) {
    std::lock_guard lock(mutex_);
    rawValues_.insert_or_assign(std::string(key), value ? "true" : "false");
    return write();
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
    std::lock_guard lock(mutex_);
    const auto it = rawValues_.find(key);
    if (it == rawValues_.end() || it->second.empty() || it->second.front() != '"') {
        return std::nullopt;
    }
    try {
        JsonDocument document(it->second);
        const auto value = json::asString(document.root());
        return value ? std::optional<std::string>(*value) : std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

bool UserDefaults::setString(std::string_view key, std::string_view value) {
    std::lock_guard lock(mutex_);
    rawValues_.insert_or_assign(std::string(key), JsonWriter::quoted(value));
    return write();
}

bool UserDefaults::write() {
    // Keys come out sorted from the map; values are re-emitted as they were read.
    std::string text = "{";
    bool first = true;
    for (const auto& [key, raw] : rawValues_) {
        text += first ? "\n  " : ",\n  ";
        text += JsonWriter::quoted(key) + " : " + raw;
        first = false;
    }
    text += first ? "}\n" : "\n}\n";
    try {
        std::filesystem::create_directories(file_.parent_path());
        writeFileAtomically(file_, text);
        return true;
    } catch (const std::exception& error) {
        logger().error("Couldn't write " + file_.string() + ": " + error.what());
        return false;
    }
}

}  // namespace wordloom
