#include <gtest/gtest.h>

#include "core/sync/SyncRecordCoding.h"

namespace wordloom {
namespace {

Timestamp at(std::int64_t seconds) {
    return Timestamp(std::chrono::seconds(seconds));
}

Snippet sample() {
    Snippet s;
    s.id = *Uuid::parse("6F9619FF-8B86-D011-B42D-00C04FC964FF");
    s.abbreviation = ";sig";
    s.label = "Signature";
    s.content = "Best regards";
    s.tags = {"mail", "work"};
    s.createdAt = at(1000);
    s.modifiedAt = at(2000);
    return s;
}

std::optional<Bytes> noImage(const Snippet&) {
    return std::nullopt;
}

TEST(SyncRecordCoding, WritesTheSnippetFieldsInTheirFixedOrder) {
    auto s = sample();
    s.codeLanguage = CodeLanguage::python;
    s.groupId = Uuid::random();
    s.lastUsedAt = at(3000);
    s.deletedAt = at(4000);
    s.richTextData = Bytes{'{', '}'};
    s.hotkey = SnippetHotkey{17, modifier::command};
    s.imageFileName = "x.bin";
    s.contentType = ContentType::image;
    const auto record = encodeSnippetRecord(s, [](const Snippet&) { return Bytes{1, 2}; });
    std::vector<std::string> names;
    for (const auto& [name, value] : record.fields) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{
                         "abbreviation",     "label",           "content",     "contentType",
                         "contentTypeV2",    "codeLanguage",    "groupId",     "tags",
                         "isEnabled",        "caseSensitivity", "triggerMode", "createdAt",
                         "modifiedAt",       "useCount",        "lastUsedAt",  "deletedAt",
                         "richTextData",     "hotkeyData",      "matchType",   "appFilterMode",
                         "filteredAppsData", "imageFileName",   "imageAsset"}));
    EXPECT_EQ(record.recordType, "Snippet");
    EXPECT_EQ(record.recordName, s.id.toString());
    EXPECT_EQ(*record.field("createdAt")->asTimestamp(), at(1000));
}

TEST(SyncRecordCoding, MarkdownAndCodeTravelAsPlainTextForOlderCopies) {
    for (const auto type : {ContentType::markdown, ContentType::code}) {
        auto s = sample();
        s.contentType = type;
        const auto record = encodeSnippetRecord(s, noImage);
        EXPECT_EQ(*record.field("contentType")->asString(), "plainText");
        EXPECT_EQ(*record.field("contentTypeV2")->asString(), rawValue(type));
        EXPECT_EQ(decodeSnippetRecord(record, at(0)).contentType, type);
    }
    auto legacy = encodeSnippetRecord(sample(), noImage);
    std::erase_if(legacy.fields, [](const auto& f) { return f.first == "contentTypeV2"; });
    legacy.set("contentType", {std::string("richText")});
    EXPECT_EQ(decodeSnippetRecord(legacy, at(0)).contentType, ContentType::richText);
}

TEST(SyncRecordCoding, RoundTripsEveryField) {
    auto s = sample();
    s.groupId = Uuid::random();
    s.isEnabled = false;
    s.caseSensitivity = CaseSensitivity::sensitive;
    s.triggerMode = TriggerMode::immediate;
    s.useCount = 12;
    s.lastUsedAt = at(5000);
    s.hotkey = SnippetHotkey{40, modifier::control | modifier::shift};
    s.matchType = AbbreviationMatchType::regex;
    s.appFilterMode = AppFilterMode::blacklist;
    s.filteredApps = {{"org.gnome.Terminal", "Terminal", std::nullopt},
                      {"firefox", "Firefox", Bytes{9}}};
    const auto back = decodeSnippetRecord(encodeSnippetRecord(s, noImage), at(0));
    EXPECT_EQ(back, s);
}

TEST(SyncRecordCoding, AClearedHotkeyOrRestoredSnippetClearsTheServerFields) {
    auto s = sample();
    s.hotkey = SnippetHotkey{17, modifier::command};
    s.deletedAt = at(9);
    auto server = encodeSnippetRecord(s, noImage);
    server.changeTag = "tag-1";
    s.hotkey.reset();
    s.deletedAt.reset();
    const auto update = encodeSnippetRecord(s, noImage, &server);
    ASSERT_NE(update.field("hotkeyData"), nullptr);
    EXPECT_TRUE(update.field("hotkeyData")->isCleared());
    EXPECT_TRUE(update.field("deletedAt")->isCleared());
    EXPECT_EQ(update.changeTag, "tag-1");
    EXPECT_EQ(decodeSnippetRecord(update, at(0)).hotkey, std::nullopt);
}

TEST(SyncRecordCoding, ImageSnippetsNeedTheirBytes) {
    auto s = sample();
    s.contentType = ContentType::image;
    s.imageFileName = "a.bin";
    try {
        encodeSnippetRecord(s, noImage);
        FAIL() << "an image without bytes must not upload";
    } catch (const SyncImageAssetError& error) {
        EXPECT_EQ(error.kind(), SyncImageAssetError::Kind::missingLocalBytes);
        EXPECT_EQ(std::string(error.what()), "Image bytes are missing for snippet " +
                                                 s.id.toString() +
                                                 "; CloudKit upload was deferred.");
    }
    const auto record = encodeSnippetRecord(s, [](const Snippet&) { return Bytes{7, 8, 9}; });
    EXPECT_EQ(decodeSnippetRecord(record, at(0)).imageData, (Bytes{7, 8, 9}));
    auto empty = record;
    empty.set("imageAsset", {SyncAsset{}});
    EXPECT_THROW(decodeSnippetRecord(empty, at(0)), SyncImageAssetError);
}

TEST(SyncRecordCoding, RefusesRecordsItCannotTrust) {
    auto record = encodeSnippetRecord(sample(), noImage);
    auto badName = record;
    badName.recordName = "not-a-uuid";
    auto badAbbreviation = record;
    badAbbreviation.set("abbreviation", {std::string(" \t")});
    auto noAbbreviation = record;
    std::erase_if(noAbbreviation.fields, [](const auto& f) { return f.first == "abbreviation"; });
    for (const auto& bad : {badName, badAbbreviation, noAbbreviation}) {
        try {
            decodeSnippetRecord(bad, at(0));
            FAIL();
        } catch (const SyncRecordError& error) {
            EXPECT_EQ(error.kind(), SyncRecordError::Kind::couldNotDecode);
            EXPECT_TRUE(std::string(error.what()).starts_with("Could not decode CloudKit Snippet"));
        }
    }
}

TEST(SyncRecordCoding, ToleratesBadOptionalFields) {
    auto record = encodeSnippetRecord(sample(), noImage);
    record.set("hotkeyData", {Bytes{'{', 'x'}});
    record.set("filteredAppsData", {Bytes{'[', '1', ']'}});
    record.set("triggerMode", {std::string("sometimes")});
    record.set("useCount", {std::int64_t{-4}});
    const auto s = decodeSnippetRecord(record, at(0));
    EXPECT_EQ(s.hotkey, std::nullopt);
    EXPECT_TRUE(s.filteredApps.empty());
    EXPECT_EQ(s.triggerMode, TriggerMode::delimiter);
    EXPECT_EQ(s.useCount, 0);
}

TEST(SyncRecordCoding, GroupsRoundTrip) {
    SnippetGroup g;
    g.id = Uuid::random();
    g.name = "Mail";
    g.parentId = Uuid::random();
    g.isEnabled = false;
    g.sortOrder = 3;
    g.createdAt = at(10);
    g.modifiedAt = at(20);
    g.defaultTriggerMode = TriggerMode::manual;
    g.defaultCaseSensitivity = CaseSensitivity::insensitive;
    const auto record = encodeGroupRecord(g);
    EXPECT_EQ(record.recordType, "SnippetGroup");
    EXPECT_EQ(decodeGroupRecord(record, at(0)), g);
}

TEST(SyncRecordCoding, FingerprintsIgnoreTagsAndClearedMarkers) {
    const auto a = encodeSnippetRecord(sample(), noImage);
    auto b = a;
    b.changeTag = "other";
    b.fields.emplace_back("hotkeyData", SyncFieldValue{SyncFieldCleared{}});
    EXPECT_EQ(syncRecordFingerprint(a), syncRecordFingerprint(b));
    auto c = a;
    c.set("content", {std::string("Kind regards")});
    EXPECT_NE(syncRecordFingerprint(a), syncRecordFingerprint(c));
}

TEST(SyncRecordJson, RoundTripsEveryValueShape) {
    SyncRecord record{"Snippet", "N", std::string("t"), {}};
    record.set("s", {std::string("é\"\n")});
    record.set("i", {std::int64_t{-9}});
    record.set("d", SyncFieldValue::timestamp(at(7)));
    record.set("b", {Bytes{0, 255}});
    record.set("l", {std::vector<std::string>{"a", ""}});
    record.set("a", {SyncAsset{Bytes{1}}});
    record.set("c", {SyncFieldCleared{}});
    JsonWriter w(false);
    encodeSyncRecord(w, record);
    JsonDocument document(w.take());
    EXPECT_EQ(decodeSyncRecord(document.root()), record);
}

TEST(SyncRecordJson, RejectsMalformedRecords) {
    for (const char* text :
         {R"([])", R"({"recordType":"Snippet"})",
          R"({"recordType":"S","recordName":"N","fields":[]})",
          R"({"recordType":"S","recordName":"N","fields":{"x":{"type":"INT64","value":"1"}}})",
          R"({"recordType":"S","recordName":"N","fields":{"x":{"type":"GEO","value":1}}})",
          R"({"recordType":"S","recordName":"N","fields":{"x":{"value":1}}})"}) {
        JsonDocument document(text);
        EXPECT_THROW(decodeSyncRecord(document.root()), JsonError) << text;
    }
}

}  // namespace
}  // namespace wordloom
