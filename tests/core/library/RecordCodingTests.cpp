#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/base/Iso8601.h"
#include "core/base/JsonReader.h"
#include "core/library/AppSettings.h"
#include "core/library/LibraryCoding.h"
#include "support/RecordingLogSink.h"

using namespace wordloom;

namespace {

const Timestamp kLoadTime = *parseIso8601("2026-11-21T09:30:00Z");
constexpr const char* kId = "6F1C2B1E-1234-4C3D-9E8F-0123456789AB";

Snippet decode(const std::string& json) {
    JsonDocument document(json);
    return decodeSnippet(document.root(), kLoadTime);
}

std::string snippetJson(const std::string& abbreviationJson, const std::string& extra = "") {
    return std::string("{\"id\":\"") + kId + "\",\"abbreviation\":" + abbreviationJson + extra +
           "}";
}

// The keys of the top-level object in `json`, in the order they are written.
std::vector<std::string> keysInOrder(const std::string& json) {
    JsonDocument document(json);
    std::vector<std::string> keys;
    const auto object = json::asObject(document.root());
    for (auto [key, value] : *object) {
        keys.emplace_back(key);
    }
    return keys;
}

}  // namespace

TEST(SnippetDecoding, IdAndAbbreviationAloneGiveAllDefaults) {
    const auto s = decode(snippetJson("\";sig\""));
    EXPECT_EQ(s.id.toString(), kId);
    EXPECT_TRUE(s.isEnabled);
    EXPECT_EQ(s.contentType, ContentType::plainText);
    EXPECT_EQ(s.label, "");
    EXPECT_EQ(s.content, "");
    EXPECT_EQ(s.caseSensitivity, CaseSensitivity::autoDetect);
    EXPECT_EQ(s.matchType, AbbreviationMatchType::exact);
    EXPECT_EQ(s.appFilterMode, AppFilterMode::all);
    EXPECT_EQ(s.triggerMode, TriggerMode::delimiter);
    EXPECT_TRUE(s.tags.empty());
    EXPECT_EQ(s.useCount, 0);
    EXPECT_EQ(s.createdAt, kLoadTime);
    EXPECT_FALSE(s.deletedAt);
}

TEST(SnippetDecoding, BadAbbreviationsAreRejectedWithTheQuotedValue) {
    for (const auto& [json, shown] :
         std::vector<std::pair<std::string, std::string>>{{"\"   \"", "\"   \""},
                                                          {"\";s\\tig\"", "\";s\\tig\""},
                                                          {"\"a\\nb\"", "\"a\\nb\""},
                                                          {"\"\"", "\"\""}}) {
        try {
            decode(snippetJson(json));
            FAIL() << json;
        } catch (const DecodingError& error) {
            EXPECT_EQ(std::string(error.what()),
                      "Snippet abbreviation cannot be empty, whitespace-only, or contain control "
                      "characters (got " +
                          shown + ").");
        }
    }
    EXPECT_EQ(decode(snippetJson("\";sig \"")).abbreviation, ";sig ");
}

TEST(SnippetDecoding, MissingOrMalformedIdRejectsTheSnippet) {
    EXPECT_THROW(decode("{\"abbreviation\":\";sig\"}"), DecodingError);
    EXPECT_THROW(decode("{\"id\":\"not-a-uuid\",\"abbreviation\":\";sig\"}"), DecodingError);
    EXPECT_THROW(decode(std::string("{\"id\":\"") + kId + "\"}"), DecodingError);
    EXPECT_THROW(decode("42"), DecodingError);
}

TEST(SnippetDecoding, UnreadableValuesFallBackToDefaults) {
    const auto s = decode(
        snippetJson("\"x\"",
                    ",\"contentType\":\"hologram\",\"isEnabled\":\"no\",\"tags\":[\"a\",3,\"b\"],"
                    "\"useCount\":\"many\",\"groupId\":\"nope\",\"codeLanguage\":\"cobol\","
                    "\"createdAt\":\"last week\",\"filteredApps\":[{\"name\":\"no id\"}]"));
    EXPECT_EQ(s.contentType, ContentType::plainText);
    EXPECT_TRUE(s.isEnabled);
    EXPECT_EQ(s.tags, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(s.useCount, 0);
    EXPECT_FALSE(s.groupId);
    EXPECT_FALSE(s.codeLanguage);
    EXPECT_EQ(s.createdAt, kLoadTime);
    EXPECT_TRUE(s.filteredApps.empty());
}

TEST(SnippetDecoding, HotkeyNeedsControlOptionOrCommand) {
    test::RecordingLogSink log;
    const auto shiftOnly =
        decode(snippetJson("\"x\"", R"(,"hotkey":{"keyCode":1,"modifiers":131072})"));
    EXPECT_FALSE(shiftOnly.hotkey);
    EXPECT_TRUE(log.contains(
        "SnippetDecode", std::string("Snippet hotkey stripped during decode (missing Cmd/Ctrl/Opt "
                                     "modifier). snippetId=") +
                             kId));
    const auto shiftCommand =
        decode(snippetJson("\"x\"", R"(,"hotkey":{"keyCode":1,"modifiers":1179648})"));
    ASSERT_TRUE(shiftCommand.hotkey);
    EXPECT_EQ(shiftCommand.hotkey->modifiers, 0x120000u);
}

TEST(SnippetEncoding, WritesSortedKeysLeavesOutAbsentOptionalsAndRoundTrips) {
    Snippet s;
    s.id = *Uuid::parse(kId);
    s.abbreviation = ";sig";
    s.label = "Signature";
    s.content = "Best,\n\"Ann\"";
    s.contentType = ContentType::richText;
    s.richTextData = Bytes{1, 2, 3};
    s.groupId = Uuid::random();
    s.tags = {"work"};
    s.hotkey = SnippetHotkey{3, modifier::command};
    s.createdAt = kLoadTime;
    s.modifiedAt = kLoadTime;
    s.lastUsedAt = kLoadTime;
    s.importSource = ImportSource{ImportSourceType::espansoYAML, "base.yml", kLoadTime};
    s.filteredApps = {AppIdentifier{"org.gnome.TextEditor", "Text Editor", Bytes{9}}};
    s.codeLanguage = CodeLanguage::autoDetect;
    s.originalId = "te-42";
    s.deletedAt = kLoadTime;
    JsonWriter w;
    encodeSnippet(w, s);
    const std::string json = w.take();
    const auto keys = keysInOrder(json);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    EXPECT_EQ(keys.size(), 23u);  // 25 fields less imageData and imageFileName
    EXPECT_NE(json.find("\"codeLanguage\" : \"auto\""), std::string::npos);
    EXPECT_EQ(decode(json), s);

    Snippet minimal;
    minimal.id = s.id;
    minimal.abbreviation = "x";
    JsonWriter w2;
    encodeSnippet(w2, minimal);
    const auto minimalKeys = keysInOrder(w2.take());
    EXPECT_EQ(std::count(minimalKeys.begin(), minimalKeys.end(), "groupId"), 0);
    EXPECT_EQ(std::count(minimalKeys.begin(), minimalKeys.end(), "deletedAt"), 0);
}

TEST(GroupAndVersionCoding, RoundTripWithSortedKeysAndDefaultsForOldVersions) {
    SnippetGroup g;
    g.id = Uuid::random();
    g.name = "Date & Time";
    g.parentId = Uuid::random();
    g.createdAt = g.modifiedAt = kLoadTime;
    g.defaultTriggerMode = TriggerMode::immediate;
    JsonWriter w;
    encodeSnippetGroup(w, g);
    const auto groupJson = w.take();
    const auto groupKeys = keysInOrder(groupJson);
    EXPECT_TRUE(std::is_sorted(groupKeys.begin(), groupKeys.end()));
    JsonDocument groupDocument(groupJson);
    EXPECT_EQ(decodeSnippetGroup(groupDocument.root(), kLoadTime), g);

    Snippet s;
    s.id = Uuid::random();
    s.abbreviation = ";a";
    s.hotkey = SnippetHotkey{1, modifier::control};
    auto version = SnippetVersion::capture(s, kLoadTime, "Before restore");
    encodeSnippetVersion(w, version);
    const auto versionJson = w.take();
    const auto versionKeys = keysInOrder(versionJson);
    EXPECT_TRUE(std::is_sorted(versionKeys.begin(), versionKeys.end()));
    JsonDocument versionDocument(versionJson);
    EXPECT_EQ(decodeSnippetVersion(versionDocument.root(), kLoadTime), version);

    JsonDocument old(std::string("{\"id\":\"") + kId + "\",\"snippetId\":\"" + kId +
                     "\",\"abbreviation\":\"a\",\"label\":\"\",\"content\":\"c\",\"savedAt\":"
                     "\"2020-01-01T00:00:00Z\"}");
    const auto oldVersion = decodeSnippetVersion(old.root(), kLoadTime);
    EXPECT_EQ(oldVersion.triggerMode, TriggerMode::delimiter);
    EXPECT_TRUE(oldVersion.isEnabled);
    EXPECT_EQ(oldVersion.schemaVersion, 1);
}

TEST(SnippetDisplayName, FallsBackFromLabelToAbbreviationToFirstContentLine) {
    Snippet s;
    s.abbreviation = ";sig";
    s.label = "  Signature \n";
    EXPECT_EQ(s.displayName(), "Signature");
    s.label = "  ";
    EXPECT_EQ(s.displayName(), ";sig");
    s.abbreviation = " ";
    s.content = "\n   \n  Dear team,\nmore";
    EXPECT_EQ(s.displayName(), "Dear team,");
    s.content = " \n\t";
    EXPECT_EQ(s.displayName(), "Untitled Snippet");
}

TEST(AppSettingsCoding, MissingAndUnknownValuesKeepDefaults) {
    JsonDocument onlyDock(R"({"showInDock": true})");
    AppSettings expected;
    expected.showInDock = true;
    EXPECT_EQ(decodeAppSettings(onlyDock.root()), expected);

    JsonDocument odd(R"({"expansionSound": "trumpet", "aiProvider": "ollama", "futureSetting": 1,
                         "globalSearchShortcut": {"key": "k", "modifiers": 1048576}})");
    const auto s = decodeAppSettings(odd.root());
    EXPECT_EQ(s.expansionSound, ExpansionSound::none);
    EXPECT_EQ(s.aiProvider, AIProvider::ollama);
    EXPECT_EQ(s.globalSearchShortcut, (KeyboardShortcut{"k", modifier::command}));

    JsonDocument notObject("[]");
    EXPECT_THROW(decodeAppSettings(notObject.root()), JsonError);
}

TEST(AppSettingsCoding, EncodesEveryFieldSortedAndRoundTrips) {
    AppSettings s;
    s.smartCaseEnabled = true;
    s.pasteShortcutOverrides["xterm"] = PasteShortcut::controlShiftV;
    s.undoExpansionWithBackspace = false;
    s.ollamaModel = "";
    s.notificationStyle = NotificationStyle::popup;
    JsonWriter w;
    encodeAppSettings(w, s);
    const auto json = w.take();
    const auto keys = keysInOrder(json);
    EXPECT_EQ(keys.size(), kSettingFieldCount);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    JsonDocument document(json);
    EXPECT_EQ(decodeAppSettings(document.root()), s);
}

TEST(AppSettingsText, ParsesCommandLineValuesAndListsWhatIsAllowed) {
    AppSettings s;
    setSettingFromText(s, SettingField::delayAmbiguousExpansions, "true");
    setSettingFromText(s, SettingField::defaultTriggerMode, "immediate");
    setSettingFromText(s, SettingField::globalSearchShortcut, "k+0x40000");
    EXPECT_TRUE(s.delayAmbiguousExpansions);
    EXPECT_EQ(s.defaultTriggerMode, TriggerMode::immediate);
    EXPECT_EQ(settingValueText(s, SettingField::globalSearchShortcut), "k+0x40000");
    try {
        setSettingFromText(s, SettingField::notificationStyle, "loud");
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(
            std::string(error.what()),
            "Invalid value \u201cloud\u201d for notificationStyle. Allowed: none, subtle, popup.");
    }
    EXPECT_THROW(setSettingFromText(s, SettingField::smartCaseEnabled, "maybe"),
                 std::invalid_argument);
    EXPECT_THROW(setSettingFromText(s, SettingField::globalSearchShortcut, "k+zz"),
                 std::invalid_argument);
}
