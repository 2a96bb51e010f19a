#include "core/library/AppSettings.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <stdexcept>

#include "core/library/LibraryCoding.h"

namespace wordloom {
namespace {

template <typename E>
std::string allowedValues() {
    std::string list;
    for (auto name : EnumNames<E>::names) {
        list += list.empty() ? "" : ", ";
        list += name;
    }
    return list;
}

template <typename E>
E parseEnumSetting(std::string_view fieldName, std::string_view value) {
    if (auto parsed = enumFromRaw<E>(value)) {
        return *parsed;
    }
    throw std::invalid_argument("Invalid value \u201c" + std::string(value) + "\u201d for " +
                                std::string(fieldName) + ". Allowed: " + allowedValues<E>() + ".");
}

bool parseBoolSetting(std::string_view fieldName, std::string_view value) {
    if (value == "true" || value == "yes" || value == "on" || value == "1") {
        return true;
    }
    if (value == "false" || value == "no" || value == "off" || value == "0") {
        return false;
    }
    throw std::invalid_argument("Invalid value \u201c" + std::string(value) + "\u201d for " +
                                std::string(fieldName) + ". Allowed: true, false.");
}

// "t+0x120000": the key's character, "+", and the modifier mask in hex or decimal.
KeyboardShortcut parseShortcutSetting(std::string_view value) {
    const auto plus = value.rfind('+');
    const auto fail = [&] {
        return std::invalid_argument("Invalid value \u201c" + std::string(value) +
                                     "\u201d for globalSearchShortcut. Allowed: KEY+MODIFIERS, for "
                                     "example t+0x120000 (Command 0x100000, Option 0x80000, "
                                     "Control 0x40000, Shift 0x20000).");
    };
    if (plus == std::string_view::npos || plus == 0) {
        throw fail();
    }
    auto digits = value.substr(plus + 1);
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.remove_prefix(2);
        base = 16;
    }
    std::uint32_t modifiers = 0;
    const auto result =
        std::from_chars(digits.data(), digits.data() + digits.size(), modifiers, base);
    if (digits.empty() || result.ec != std::errc() || result.ptr != digits.data() + digits.size()) {
        throw fail();
    }
    return KeyboardShortcut{std::string(value.substr(0, plus)), modifiers};
}

bool equalIgnoringAsciiCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

// "APP=SHORTCUT,APP=SHORTCUT"; empty for none.
std::map<std::string, PasteShortcut> parsePasteShortcutOverrides(std::string_view value) {
    std::map<std::string, PasteShortcut> overrides;
    if (value.empty()) {
        return overrides;
    }
    for (std::size_t start = 0;;) {
        const auto end = value.find(',', start);
        const auto entry = value.substr(start, end == std::string_view::npos ? end : end - start);
        const auto equals = entry.rfind('=');
        const auto shortcut = equals == std::string_view::npos
                                  ? std::nullopt
                                  : enumFromRaw<PasteShortcut>(entry.substr(equals + 1));
        if (equals == 0 || !shortcut) {
            throw std::invalid_argument(
                "Invalid value \u201c" + std::string(entry) +
                "\u201d for pasteShortcutOverrides. Allowed: APPLICATION=SHORTCUT pairs separated "
                "by commas, for example xterm=controlShiftV, with SHORTCUT one of " +
                allowedValues<PasteShortcut>() + "; an empty value removes them all.");
        }
        overrides[std::string(entry.substr(0, equals))] = *shortcut;
        if (end == std::string_view::npos) {
            return overrides;
        }
        start = end + 1;
    }
}

}  // namespace

std::optional<PasteShortcut> pasteShortcutOverride(
    const AppSettings& settings, const std::optional<std::string>& applicationId) {
    if (!applicationId) {
        return std::nullopt;
    }
    if (const auto exact = settings.pasteShortcutOverrides.find(*applicationId);
        exact != settings.pasteShortcutOverrides.end()) {
        return exact->second;
    }
    for (const auto& [application, shortcut] : settings.pasteShortcutOverrides) {
        if (equalIgnoringAsciiCase(application, *applicationId)) {
            return shortcut;
        }
    }
    return std::nullopt;
}

void copySettingField(SettingField field, const AppSettings& source, AppSettings& target) {
    switch (field) {
        case SettingField::launchAtLogin:
            target.launchAtLogin = source.launchAtLogin;
            break;
        case SettingField::showInMenuBar:
            target.showInMenuBar = source.showInMenuBar;
            break;
        case SettingField::showInDock:
            target.showInDock = source.showInDock;
            break;
        case SettingField::globalSearchShortcut:
            target.globalSearchShortcut = source.globalSearchShortcut;
            break;
        case SettingField::expansionSound:
            target.expansionSound = source.expansionSound;
            break;
        case SettingField::notificationStyle:
            target.notificationStyle = source.notificationStyle;
            break;
        case SettingField::defaultTriggerMode:
            target.defaultTriggerMode = source.defaultTriggerMode;
            break;
        case SettingField::defaultCaseSensitivity:
            target.defaultCaseSensitivity = source.defaultCaseSensitivity;
            break;
        case SettingField::expandInPasswordFields:
            target.expandInPasswordFields = source.expandInPasswordFields;
            break;
        case SettingField::iCloudSyncEnabled:
            target.iCloudSyncEnabled = source.iCloudSyncEnabled;
            break;
        case SettingField::debugLoggingEnabled:
            target.debugLoggingEnabled = source.debugLoggingEnabled;
            break;
        case SettingField::allowSystemWritingTools:
            target.allowSystemWritingTools = source.allowSystemWritingTools;
            break;
        case SettingField::aiProvider:
            target.aiProvider = source.aiProvider;
            break;
        case SettingField::ollamaEndpoint:
            target.ollamaEndpoint = source.ollamaEndpoint;
            break;
        case SettingField::ollamaModel:
            target.ollamaModel = source.ollamaModel;
            break;
        case SettingField::smartCaseEnabled:
            target.smartCaseEnabled = source.smartCaseEnabled;
            break;
        case SettingField::delayAmbiguousExpansions:
            target.delayAmbiguousExpansions = source.delayAmbiguousExpansions;
            break;
        case SettingField::allowURLSchemeExpansion:
            target.allowURLSchemeExpansion = source.allowURLSchemeExpansion;
            break;
        case SettingField::pasteShortcutOverrides:
            target.pasteShortcutOverrides = source.pasteShortcutOverrides;
            break;
        case SettingField::undoExpansionWithBackspace:
            target.undoExpansionWithBackspace = source.undoExpansionWithBackspace;
            break;
    }
}

AppSettings decodeAppSettings(JsonElement element) {
    auto object = json::asObject(element);
    if (!object) {
        throw JsonError("The settings are not a JSON object.");
    }
    AppSettings s;
    for (auto member : *object) {
        // Named copies rather than a structured binding: lambdas below capture them.
        const std::string_view key = member.key;
        const JsonElement value = member.value;
        const auto field = enumFromRaw<SettingField>(key);
        if (!field) {
            continue;  // a setting of a newer build
        }
        auto readBool = [&](bool& target) {
            if (auto v = json::asBool(value)) {
                target = *v;
            }
        };
        auto readString = [&](std::string& target) {
            if (auto v = json::asString(value)) {
                target = std::string(*v);
            }
        };
        auto readEnum = [&](auto& target) {
            using E = std::remove_reference_t<decltype(target)>;
            if (auto raw = json::asString(value)) {
                if (auto v = enumFromRaw<E>(*raw)) {
                    target = *v;
                }
            }
        };
        switch (*field) {
            case SettingField::launchAtLogin:
                readBool(s.launchAtLogin);
                break;
            case SettingField::showInMenuBar:
                readBool(s.showInMenuBar);
                break;
            case SettingField::showInDock:
                readBool(s.showInDock);
                break;
            case SettingField::globalSearchShortcut:
                if (auto shortcut = decodeKeyboardShortcut(value)) {
                    s.globalSearchShortcut = *shortcut;
                }
                break;
            case SettingField::expansionSound:
                readEnum(s.expansionSound);
                break;
            case SettingField::notificationStyle:
                readEnum(s.notificationStyle);
                break;
            case SettingField::defaultTriggerMode:
                readEnum(s.defaultTriggerMode);
                break;
            case SettingField::defaultCaseSensitivity:
                readEnum(s.defaultCaseSensitivity);
                break;
            case SettingField::expandInPasswordFields:
                readBool(s.expandInPasswordFields);
                break;
            case SettingField::iCloudSyncEnabled:
                readBool(s.iCloudSyncEnabled);
                break;
            case SettingField::debugLoggingEnabled:
                readBool(s.debugLoggingEnabled);
                break;
            case SettingField::allowSystemWritingTools:
                readBool(s.allowSystemWritingTools);
                break;
            case SettingField::aiProvider:
                readEnum(s.aiProvider);
                break;
            case SettingField::ollamaEndpoint:
                readString(s.ollamaEndpoint);
                break;
            case SettingField::ollamaModel:
                readString(s.ollamaModel);
                break;
            case SettingField::smartCaseEnabled:
                readBool(s.smartCaseEnabled);
                break;
            case SettingField::delayAmbiguousExpansions:
                readBool(s.delayAmbiguousExpansions);
                break;
            case SettingField::allowURLSchemeExpansion:
                readBool(s.allowURLSchemeExpansion);
                break;
            case SettingField::pasteShortcutOverrides:
                if (auto overrides = json::asObject(value)) {
                    for (auto entry : *overrides) {
                        // An entry this build does not know is skipped, not the whole map.
                        const auto raw = json::asString(entry.value);
                        const auto shortcut = raw ? enumFromRaw<PasteShortcut>(*raw) : std::nullopt;
                        if (shortcut && !entry.key.empty()) {
                            s.pasteShortcutOverrides[std::string(entry.key)] = *shortcut;
                        }
                    }
                }
                break;
            case SettingField::undoExpansionWithBackspace:
                readBool(s.undoExpansionWithBackspace);
                break;
        }
    }
    return s;
}

void encodeAppSettings(JsonWriter& w, const AppSettings& s) {
    // Keys in sorted order.
    w.beginObject();
    w.field("aiProvider", rawValue(s.aiProvider));
    w.field("allowSystemWritingTools", s.allowSystemWritingTools);
    w.field("allowURLSchemeExpansion", s.allowURLSchemeExpansion);
    w.field("debugLoggingEnabled", s.debugLoggingEnabled);
    w.field("defaultCaseSensitivity", rawValue(s.defaultCaseSensitivity));
    w.field("defaultTriggerMode", rawValue(s.defaultTriggerMode));
    w.field("delayAmbiguousExpansions", s.delayAmbiguousExpansions);
    w.field("expandInPasswordFields", s.expandInPasswordFields);
    w.field("expansionSound", rawValue(s.expansionSound));
    w.key("globalSearchShortcut");
    encodeKeyboardShortcut(w, s.globalSearchShortcut);
    w.field("iCloudSyncEnabled", s.iCloudSyncEnabled);
    w.field("launchAtLogin", s.launchAtLogin);
    w.field("notificationStyle", rawValue(s.notificationStyle));
    w.field("ollamaEndpoint", s.ollamaEndpoint);
    w.field("ollamaModel", s.ollamaModel);
    if (!s.pasteShortcutOverrides.empty()) {
        w.key("pasteShortcutOverrides");
        w.beginObject();
        for (const auto& [application, shortcut] : s.pasteShortcutOverrides) {
            w.field(application, rawValue(shortcut));
        }
        w.endObject();
    }
    w.field("showInDock", s.showInDock);
    w.field("showInMenuBar", s.showInMenuBar);
    w.field("smartCaseEnabled", s.smartCaseEnabled);
    if (!s.undoExpansionWithBackspace) {
        w.field("undoExpansionWithBackspace", false);
    }
    w.endObject();
}

void setSettingFromText(AppSettings& s, SettingField field, std::string_view value) {
    const auto name = rawValue(field);
    switch (field) {
        case SettingField::launchAtLogin:
            s.launchAtLogin = parseBoolSetting(name, value);
            break;
        case SettingField::showInMenuBar:
            s.showInMenuBar = parseBoolSetting(name, value);
            break;
        case SettingField::showInDock:
            s.showInDock = parseBoolSetting(name, value);
            break;
        case SettingField::globalSearchShortcut:
            s.globalSearchShortcut = parseShortcutSetting(value);
            break;
        case SettingField::expansionSound:
            s.expansionSound = parseEnumSetting<ExpansionSound>(name, value);
            break;
        case SettingField::notificationStyle:
            s.notificationStyle = parseEnumSetting<NotificationStyle>(name, value);
            break;
        case SettingField::defaultTriggerMode:
            s.defaultTriggerMode = parseEnumSetting<TriggerMode>(name, value);
            break;
        case SettingField::defaultCaseSensitivity:
            s.defaultCaseSensitivity = parseEnumSetting<CaseSensitivity>(name, value);
            break;
        case SettingField::expandInPasswordFields:
            s.expandInPasswordFields = parseBoolSetting(name, value);
            break;
        case SettingField::iCloudSyncEnabled:
            s.iCloudSyncEnabled = parseBoolSetting(name, value);
            break;
        case SettingField::debugLoggingEnabled:
            s.debugLoggingEnabled = parseBoolSetting(name, value);
            break;
        case SettingField::allowSystemWritingTools:
            s.allowSystemWritingTools = parseBoolSetting(name, value);
            break;
        case SettingField::aiProvider:
            s.aiProvider = parseEnumSetting<AIProvider>(name, value);
            break;
        case SettingField::ollamaEndpoint:
            s.ollamaEndpoint = std::string(value);
            break;
        case SettingField::ollamaModel:
            s.ollamaModel = std::string(value);
            break;
        case SettingField::smartCaseEnabled:
            s.smartCaseEnabled = parseBoolSetting(name, value);
            break;
        case SettingField::delayAmbiguousExpansions:
            s.delayAmbiguousExpansions = parseBoolSetting(name, value);
            break;
        case SettingField::allowURLSchemeExpansion:
            s.allowURLSchemeExpansion = parseBoolSetting(name, value);
            break;
        case SettingField::pasteShortcutOverrides:
            s.pasteShortcutOverrides = parsePasteShortcutOverrides(value);
            break;
        case SettingField::undoExpansionWithBackspace:
            s.undoExpansionWithBackspace = parseBoolSetting(name, value);
            break;
    }
}

std::string settingValueText(const AppSettings& s, SettingField field) {
    auto boolText = [](bool b) { return std::string(b ? "true" : "false"); };
    switch (field) {
        case SettingField::launchAtLogin:
            return boolText(s.launchAtLogin);
        case SettingField::showInMenuBar:
            return boolText(s.showInMenuBar);
        case SettingField::showInDock:
            return boolText(s.showInDock);
        case SettingField::globalSearchShortcut: {
            char hex[16];
            std::snprintf(hex, sizeof hex, "0x%X", s.globalSearchShortcut.modifiers);
            return s.globalSearchShortcut.key + "+" + hex;
        }
        case SettingField::expansionSound:
            return std::string(rawValue(s.expansionSound));
        case SettingField::notificationStyle:
            return std::string(rawValue(s.notificationStyle));
        case SettingField::defaultTriggerMode:
            return std::string(rawValue(s.defaultTriggerMode));
        case SettingField::defaultCaseSensitivity:
            return std::string(rawValue(s.defaultCaseSensitivity));
        case SettingField::expandInPasswordFields:
            return boolText(s.expandInPasswordFields);
        case SettingField::iCloudSyncEnabled:
            return boolText(s.iCloudSyncEnabled);
        case SettingField::debugLoggingEnabled:
            return boolText(s.debugLoggingEnabled);
        case SettingField::allowSystemWritingTools:
            return boolText(s.allowSystemWritingTools);
        case SettingField::aiProvider:
            return std::string(rawValue(s.aiProvider));
        case SettingField::ollamaEndpoint:
            return s.ollamaEndpoint;
        case SettingField::ollamaModel:
            return s.ollamaModel;
        case SettingField::smartCaseEnabled:
            return boolText(s.smartCaseEnabled);
        case SettingField::delayAmbiguousExpansions:
            return boolText(s.delayAmbiguousExpansions);
        case SettingField::allowURLSchemeExpansion:
            return boolText(s.allowURLSchemeExpansion);
        case SettingField::pasteShortcutOverrides: {
            std::string text;
            for (const auto& [application, shortcut] : s.pasteShortcutOverrides) {
                text +=
                    (text.empty() ? "" : ",") + application + "=" + std::string(rawValue(shortcut));
            }
            return text;
        }
        case SettingField::undoExpansionWithBackspace:
            return boolText(s.undoExpansionWithBackspace);
    }
    return {};
}

}  // namespace wordloom
