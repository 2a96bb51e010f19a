#include <gtest/gtest.h>

#include <zip.h>

#include <cstdlib>
#include <cstring>

#include "core/base/Iso8601.h"
#include "core/transfer/ATextImporter.h"
#include "core/transfer/AlfredImporter.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/RaycastImporter.h"
#include "core/transfer/TextExpanderImporter.h"
#include "core/transfer/TypeIt4MeImporter.h"
#include "core/transfer/WordloomImporter.h"

namespace wordloom {
namespace {

const Timestamp kNow = *parseIso8601("2026-11-25T10:00:00Z");

// A zip archive in memory with the given entries.
std::string makeZip(const std::vector<std::pair<std::string, std::string>>& entries) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* buffer = zip_source_buffer_create(nullptr, 0, 0, &error);
    zip_t* archive = zip_open_from_source(buffer, ZIP_TRUNCATE, &error);
    zip_source_keep(buffer);
    for (const auto& [name, content] : entries) {
        auto* data = static_cast<char*>(std::malloc(content.size() + 1));
        std::memcpy(data, content.data(), content.size());
        zip_source_t* source = zip_source_buffer(archive, data, content.size(), 1);
        zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8);
    }
    zip_close(archive);
    zip_source_open(buffer);
    zip_source_seek(buffer, 0, SEEK_END);
    const auto size = zip_source_tell(buffer);
    zip_source_seek(buffer, 0, SEEK_SET);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    zip_source_read(buffer, bytes.data(), static_cast<zip_uint64_t>(size));
    zip_source_close(buffer);
    zip_source_free(buffer);
    return bytes;
}

const std::string kInfoPlist = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>snippetkeywordprefix</key><string>;</string>
  <key>snippetkeywordsuffix</key><string>!</string>
</dict></plist>)";

TEST(AlfredImporter, AddsPrefixAndSuffixAndConvertsPlaceholders) {
    const auto archive = makeZip({
        {"info.plist", kInfoPlist},
        {"Thanks [4E1B2C7A-9F00-4D7E-8A11-0C5D3E9B7A21].json",
         R"({"alfredsnippet":{"snippet":"Thanks {clipboard}, reply by {date +2d:EEE d MMM}.{cursor} {random:1..6} {snippet:sig} {clipboard:3} {query}",
             "keyword":"thx","name":"Thanks + deadline","uid":"4E1B2C7A-9F00-4D7E-8A11-0C5D3E9B7A21"}})"},
        {"quiet.json",
         R"({"alfredsnippet":{"snippet":"{date:short} {time} {datetime:long} {random:UUID} {name.uppercase}","keyword":["q","r"],"name":"Quiet","dontautoexpand":true}})"},
        {"__MACOSX/._quiet.json", "junk"},
        {"notes.txt", "ignored"},
    });
    const auto document = AlfredImporter::importBytes(archive, "Support.alfredsnippets", kNow);
    ASSERT_EQ(document.groups.size(), 1u);
    EXPECT_EQ(document.groups[0].name, "Support");
    ASSERT_EQ(document.snippets.size(), 2u);
    const auto& thanks =
        document.snippets[0].abbreviation == ";thx!" ? document.snippets[0] : document.snippets[1];
    const auto& quiet =
        &thanks == &document.snippets[0] ? document.snippets[1] : document.snippets[0];
    EXPECT_EQ(thanks.content,
              "Thanks {{clipboard}}, reply by {{date+2d:EEE d MMM}}.{{cursor}} {{random:1-6}} "
              "{{snippet:;sig!}} {{clipboard}} {query}");
    EXPECT_EQ(thanks.label, "Thanks + deadline");
    EXPECT_EQ(thanks.id.toString(), "4E1B2C7A-9F00-4D7E-8A11-0C5D3E9B7A21");
    EXPECT_EQ(thanks.importSource->type, ImportSourceType::alfredSnippets);
    EXPECT_EQ(quiet.abbreviation, ";q!");
    EXPECT_EQ(quiet.triggerMode, TriggerMode::manual);
    EXPECT_EQ(quiet.content, "{{date:short}} {{time}} {{now:long}} {{uuid}} {name.uppercase}");
    EXPECT_EQ(document.notes.sentences().size(), 3u);  // older clipboard, workflow, keywords
}

TEST(AlfredImporter, RefusesTruncatedAndOversizedArchives) {
    const auto archive =
        makeZip({{"a.json", R"({"alfredsnippet":{"snippet":"x","keyword":"a"}})"}});
    for (const std::size_t keep : {archive.size() / 2, archive.size() - 10, std::size_t{4}}) {
        EXPECT_THROW(
            AlfredImporter::importBytes(archive.substr(0, keep), "cut.alfredsnippets", kNow),
            ImportError)
            << keep;
    }
    EXPECT_THROW(AlfredImporter::importBytes("", "empty.alfredsnippets", kNow), ImportError);
}

TEST(RaycastImporter, ConvertsPlaceholdersAndResolvesSnippetsByName) {
    const auto document = RaycastImporter::importText(R"([
  {"name": "Standup", "keyword": "!su",
   "text": "Standup {date format=\"EEE d MMM\"}\nYesterday: {argument name=\"done\"}\nToday: {cursor}"},
  {"name": "Tone reply", "keyword": "!tr",
   "text": "Sounds {argument name=\"tone\" options=\"great, fine\" default=\"fine\"} {argument} {argument}"},
  {"name": "Later", "keyword": "!l",
   "text": "{date offset=\"+2d\"} {time offset=\"-30m\" format=\"HH:mm\"} {date offset=\"+2y +5M\"} {day} {uuid} {selection}"},
  {"name": "Wiki link", "text": "[{clipboard | trim}]({clipboard}) {snippet name=\"Standup\"} {browser-tab}"}
])",
                                                      "snippets.json", kNow);
    ASSERT_EQ(document.snippets.size(), 4u);
    EXPECT_EQ(document.snippets[0].content,
              "Standup {{date:EEE d MMM}}\nYesterday: {{input:done}}\nToday: {{cursor}}");
    EXPECT_EQ(document.snippets[0].label, "Standup");
    EXPECT_EQ(document.snippets[1].content,
              "Sounds {{select:name=tone:options=great,fine:default=fine}} {{input:arg1}} "
              "{{input:arg2}}");
    EXPECT_EQ(document.snippets[2].content,
              "{{date+2d}} {{date-30M:HH:mm}} {{date}} {{date:EEEE}} {{uuid}} {{selected}}");
    EXPECT_EQ(document.snippets[3].abbreviation, "");  // the plan skips it and names it
    EXPECT_EQ(document.snippets[3].content,
              "[{{clipboard}}]({{clipboard}}) {{snippet:!su}} {browser-tab}");
    EXPECT_EQ(document.notes.sentences().size(), 3u);
}

TEST(RaycastImporter, HandlesHugeValuesAndRefusesTooManyEntries) {
    const std::string big(10 << 20, 'x');
    const auto one = RaycastImporter::importText(
        "[{\"name\":\"big\",\"keyword\":\"!b\",\"text\":\"" + big + "\"}]", "big.json", kNow);
    ASSERT_EQ(one.snippets.size(), 1u);
    EXPECT_EQ(one.snippets[0].content.size(), big.size());

    std::string many = "[";
    for (std::size_t i = 0; i <= kMaxImportedSnippets; ++i) {
        many += (i ? "," : "") + std::string("{\"name\":\"n\",\"text\":\"t\",\"keyword\":\"k") +
                std::to_string(i) + "\"}";
    }
    many += "]";
    try {
        RaycastImporter::importText(many, "many.json", kNow);
        FAIL() << "expected ImportError";
    } catch (const ImportError& error) {
        EXPECT_NE(std::string(error.what()).find("more than 100000 snippets"), std::string::npos);
    }
    EXPECT_THROW(RaycastImporter::importText("{\"name\": 1}", "odd.json", kNow), ImportError);
    EXPECT_THROW(RaycastImporter::importText("[{\"name\":", "cut.json", kNow), ImportError);
}

TEST(ATextImporter, ReadsQuotedMultilineCsvAndPropertyLists) {
    const auto csv = ATextImporter::importBytes(
        "\xEF\xBB\xBF;mtg,\"Meeting notes\r\nAttendees: \"\"all\"\"\"\r\n;sig,\"Kind "
        "regards,\nIlse\"\n"
        ";x,\xE3\x80\x90"
        "clipboard\xE3\x80\x91\nlonely\n",
        "aText.csv", kNow);
    ASSERT_EQ(csv.snippets.size(), 3u);
    EXPECT_EQ(csv.snippets[0].abbreviation, ";mtg");
    EXPECT_EQ(csv.snippets[0].content, "Meeting notes\r\nAttendees: \"all\"");
    EXPECT_EQ(csv.snippets[1].content, "Kind regards,\nIlse");
    EXPECT_EQ(csv.groups[0].name, "aText");
    EXPECT_EQ(csv.notes.sentences(),
              (std::vector<std::string>{
                  "1 snippets may hold aText placeholders, which were kept as text",
                  "1 lines of the CSV file have no content column and were skipped"}));

    const auto plist = ATextImporter::importBytes(
        "<plist version=\"1.0\"><array><dict><key>shortcut</key><string>;a</string>"
        "<key>phrase</key><string>Alpha</string></dict></array></plist>",
        "export.plist", kNow);
    ASSERT_EQ(plist.snippets.size(), 1u);
    EXPECT_EQ(plist.snippets[0].content, "Alpha");
}

TEST(TypeIt4MeImporter, MatchesKeysLooselyAndKeepsBodies) {
    const auto document = TypeIt4MeImporter::importBytes(R"(<plist version="1.0"><dict>
  <key>Clippings</key><array>
    <dict>
      <key>Abbreviation</key><string>kr</string>
      <key>Label</key><string>Sign-off</string>
      <key>Plain Text</key><string>Kind regards, 100% ^Tomas</string>
      <key>Creation Date</key><date>2024-11-02T10:00:00Z</date>
      <key>uuidString</key><string>1F0D9C44-6A2B-4E57-B3D1-8C2F0A7E5B10</string>
    </dict>
    <dict><key>abbreviation</key><string>x</string><key>plaintext</key><string>y</string></dict>
  </array></dict></plist>)",
                                                         "Clippings.plist", kNow);
    ASSERT_EQ(document.snippets.size(), 2u);
    EXPECT_EQ(document.snippets[0].abbreviation, "kr");
    EXPECT_EQ(document.snippets[0].content, "Kind regards, 100% ^Tomas");
    EXPECT_EQ(document.snippets[0].createdAt, *parseIso8601("2024-11-02T10:00:00Z"));
    EXPECT_EQ(document.snippets[0].originalId, "1F0D9C44-6A2B-4E57-B3D1-8C2F0A7E5B10");
    EXPECT_EQ(document.snippets[1].content, "y");
    EXPECT_EQ(document.notes.sentences().size(), 1u);
}

TEST(PropertyListImport, ABinaryListThatRefersToItselfIsAnErrorNotACrash) {
    // bplist00: object 0 is an array holding object 0.
    std::string cyclic("bplist00", 8);
    cyclic += std::string("\xA1\x00", 2);  // the array and its one reference
    cyclic += '\x08';                      // offset table: object 0 at byte 8
    cyclic += std::string(6, '\0');
    cyclic += '\x01';                                // offset size
    cyclic += '\x01';                                // reference size
    cyclic += std::string("\0\0\0\0\0\0\0\x01", 8);  // one object
    cyclic += std::string(8, '\0');                  // the top object is 0
    cyclic += std::string("\0\0\0\0\0\0\0\x0A", 8);  // the offset table starts at byte 10
    EXPECT_THROW(TextExpanderImporter::importBytes(cyclic, "loop.textexpander", kNow), ImportError);
    EXPECT_THROW(TypeIt4MeImporter::importBytes(cyclic, "loop.plist", kNow), ImportError);
}

TEST(PropertyListImport, AStringHoldingANulByteIsCutThereNotACrash) {
    const std::string xml(
        "<plist version=\"1.0\"><dict><key>Clippings</key><array><dict>"
        "<key>Abbreviation</key><string>kr</string><key>Plain Text</key>"
        "<string>a\x01\0b</string></dict></array></dict></plist>",
        174);
    const auto document = TypeIt4MeImporter::importBytes(xml, "nul.plist", kNow);
    ASSERT_EQ(document.snippets.size(), 1u);
    EXPECT_EQ(document.snippets[0].content, "a\x01");
}

TEST(WordloomImporter, ReadsExportsAndBackupsAndNamesWhatItSkips) {
    const auto document = WordloomImporter::importText(R"({
  "exportDate": "2026-01-01T00:00:00Z", "version": 1,
  "groups": [{"id": "6F9619FF-8B86-D011-B42D-00C04FC964FF", "name": "Mail"}, {"name": "no id"}],
  "snippets": [
    {"id": "0E984725-C51C-4BF4-9960-E1C80E27ABA0", "abbreviation": ";a", "content": "A",
     "groupId": "6F9619FF-8B86-D011-B42D-00C04FC964FF", "useCount": 4},
    {"id": "0E984725-C51C-4BF4-9960-E1C80E27ABA1", "abbreviation": "\t"},
    {"id": "0E984725-C51C-4BF4-9960-E1C80E27ABA2", "abbreviation": ";gone",
     "deletedAt": "2026-01-01T00:00:00Z"},
    {"id": "0E984725-C51C-4BF4-9960-E1C80E27ABA3", "abbreviation": ";img", "contentType": "image",
     "imageFileName": "x.bin"}
  ]})",
                                                       kNow);
    ASSERT_EQ(document.snippets.size(), 2u);
    EXPECT_EQ(document.snippets[0].useCount, 4);
    EXPECT_FALSE(document.snippets[1].imageFileName);
    ASSERT_EQ(document.groups.size(), 1u);
    const auto notes = document.notes.sentences();
    ASSERT_EQ(notes.size(), 4u);
    EXPECT_NE(notes[0].find("(abbreviation \"\\t\")"), std::string::npos);
    EXPECT_THROW(WordloomImporter::importText("{\"name\": \"x\"}", kNow), ImportError);
    EXPECT_THROW(WordloomImporter::importText("{\"snippets\": [", kNow), ImportError);
}

}  // namespace
}  // namespace wordloom
