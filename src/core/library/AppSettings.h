#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/EnumCoding.h"
#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/library/Snippet.h"

namespace wordloom {

enum class ExpansionSound { none, click, pop, typewriter };
enum class NotificationStyle { none, subtle, popup };
enum class AIProvider { appleIntelligenceWithOllamaFallback, appleIntelligence, ollama, disabled };
/// The keystroke that makes an application paste.
enum class PasteShortcut { controlV, shiftInsert, controlShiftV };

template <>
struct EnumNames<ExpansionSound> {
    static constexpr std::array names{"none", "click", "pop", "typewriter"};
};
template <>
struct EnumNames<NotificationStyle> {
    static constexpr std::array names{"none", "subtle", "popup"};
};
template <>
struct EnumNames<PasteShortcut> {
    static constexpr std::array names{"controlV", "shiftInsert", "controlShiftV"};
};
template <>
struct EnumNames<AIProvider> {
    static constexpr std::array names{"appleIntelligenceWithOllamaFallback", "appleIntelligence",
                                      "ollama", "disabled"};
};

/// The user's preferences, with their defaults.
struct AppSettings {
    bool launchAtLogin = false;
    bool showInMenuBar = true;
    bool showInDock = false;
    KeyboardShortcut globalSearchShortcut{"t", modifier::command | modifier::shift};
    ExpansionSound expansionSound = ExpansionSound::none;
    NotificationStyle notificationStyle = NotificationStyle::subtle;
    TriggerMode defaultTriggerMode = TriggerMode::delimiter;
    CaseSensitivity defaultCaseSensitivity = CaseSensitivity::autoDetect;
    bool expandInPasswordFields = false;
    bool iCloudSyncEnabled = false;
    bool debugLoggingEnabled = false;
    bool allowSystemWritingTools = false;
    AIProvider aiProvider = AIProvider::appleIntelligenceWithOllamaFallback;
    std::string ollamaEndpoint = "http://127.0.0.1:11434";
    std::string ollamaModel = "llama3.2";
    bool smartCaseEnabled = false;
    bool delayAmbiguousExpansions = false;
    bool allowURLSchemeExpansion = false;
    /// The paste keystroke for applications (by application id) where the automatic choice,
    /// Shift+Insert for terminals and Control+V elsewhere, does not suit. Written only when set.
    std::map<std::string, PasteShortcut> pasteShortcutOverrides;
    /// Backspace right after an expansion takes it back and puts the abbreviation back.
    /// Written only when turned off.
    bool undoExpansionWithBackspace = true;

    bool operator==(const AppSettings&) const = default;
};

/// One case per AppSettings field, in the same order: which setting a change touched.
enum class SettingField {
    launchAtLogin,
    showInMenuBar,
    showInDock,
    globalSearchShortcut,
    expansionSound,
    notificationStyle,
    defaultTriggerMode,
    defaultCaseSensitivity,
    expandInPasswordFields,
    iCloudSyncEnabled,
    debugLoggingEnabled,
    allowSystemWritingTools,
    aiProvider,
    ollamaEndpoint,
    ollamaModel,
    smartCaseEnabled,
    delayAmbiguousExpansions,
    allowURLSchemeExpansion,
    pasteShortcutOverrides,
    undoExpansionWithBackspace,
};

template <>
struct EnumNames<SettingField> {
    static constexpr std::array names{"launchAtLogin",
                                      "showInMenuBar",
                                      "showInDock",
                                      "globalSearchShortcut",
                                      "expansionSound",
                                      "notificationStyle",
                                      "defaultTriggerMode",
                                      "defaultCaseSensitivity",
                                      "expandInPasswordFields",
                                      "iCloudSyncEnabled",
                                      "debugLoggingEnabled",
                                      "allowSystemWritingTools",
                                      "aiProvider",
                                      "ollamaEndpoint",
                                      "ollamaModel",
                                      "smartCaseEnabled",
                                      "delayAmbiguousExpansions",
                                      "allowURLSchemeExpansion",
                                      "pasteShortcutOverrides",
                                      "undoExpansionWithBackspace"};
};

inline constexpr std::size_t kSettingFieldCount = EnumNames<SettingField>::names.size();

/// Copies one field from `source` into `target`.
void copySettingField(SettingField field, const AppSettings& source, AppSettings& target);

/// Reads an AppSettings object: every field is optional, and a missing or unreadable value keeps
/// its default. Throws JsonError when `element` is not an object.
AppSettings decodeAppSettings(JsonElement element);
void encodeAppSettings(JsonWriter& writer, const AppSettings& settings);

/// Sets one field from text, as typed on a command line ("true", "popup", "t+0x120000" ...).
/// Throws std::invalid_argument with a message that lists what is allowed.
void setSettingFromText(AppSettings& settings, SettingField field, std::string_view value);

/// The field's current value as text, in the spelling setSettingFromText() accepts.
std::string settingValueText(const AppSettings& settings, SettingField field);

/// The paste keystroke the settings choose for `applicationId` (compared without regard to
/// ASCII letter case, as window classes vary in it), or nullopt for the automatic choice.
std::optional<PasteShortcut> pasteShortcutOverride(const AppSettings& settings,
                                                   const std::optional<std::string>& applicationId);

}  // namespace wordloom
