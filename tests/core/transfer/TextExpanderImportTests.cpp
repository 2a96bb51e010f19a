#include <gtest/gtest.h>

#include "core/base/Iso8601.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/TEToWordloomMacroConverter.h"
#include "core/transfer/TextExpanderDocument.h"
#include "core/transfer/TextExpanderImporter.h"

namespace wordloom {
namespace {

const Timestamp kNow = *parseIso8601("2026-11-25T10:00:00Z");

std::string convert(std::string_view text, std::set<std::string>* kindsOut = nullptr) {
    std::set<std::string> kinds;
    auto out = TEToWordloomMacroConverter::convert(text, kinds);
    if (kindsOut) {
        *kindsOut = kinds;
    }
    return out;
}

TEST(TEToWordloomMacroConverter, ConvertsMacrosDatesAndFillIns) {
    EXPECT_EQ(convert("100%% sure%|"), "100% sure{{cursor}}");
    EXPECT_EQ(convert("%clipboard%key:tab%%snippet:;sig%"),
              "{{clipboard}}{{key:tab}}{{snippet:;sig}}");
    EXPECT_EQ(convert("On %A, %B %e, %Y."), "On {{date:EEEE, MMMM d, yyyy}}.");
    EXPECT_EQ(convert("%@+1D%Y-%m-%d tomorrow"), "{{date+1d:yyyy-MM-dd}} tomorrow");
    EXPECT_EQ(convert("%1m/%1d at %1I:%M %p"), "{{date:M/d}} at {{date:h:mm a}}");
    EXPECT_EQ(convert("%@strftime{%A, %B %e, %Y}"), "{{date:EEEE, MMMM d, yyyy}}");
    EXPECT_EQ(convert("%filltext:name=site:default=http://x:1%"),
              "{{input:name=site:default=http\\://x\\:1}}");
    EXPECT_EQ(convert("%fillarea:name=notes:width=40:height=3%"), "{{textarea:notes}}");
    EXPECT_EQ(convert("%fillpopup:name=size:S:default=M:L%"),
              "{{select:name=size:options=S,M,L:default=M}}");
    EXPECT_EQ(convert("%fillpart:name=ps:default=yes%P.S.%fillpartend%"),
              "{{optional:name=ps:default=yes}}P.S.{{/optional}}");
    EXPECT_EQ(convert("%fill:site%"), "{{input:site}}");
    EXPECT_EQ(convert("50% off, %q and a lone %"), "50% off, %q and a lone %");

    std::set<std::string> kinds;
    EXPECT_EQ(convert("%|selected%\\ %+", &kinds), "{{cursor}}selected ");
    EXPECT_EQ(kinds.size(), 2u);
}

TEST(TextExpanderImporter, ReadsAGroupExportWithItsFieldsAndTypes) {
    const std::string xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <key>groupInfo</key><dict><key>groupName</key><string>Field notes</string></dict>
  <key>snippetsTE2</key><array>
    <dict>
      <key>abbreviation</key><string>;visit</string>
      <key>abbreviationMode</key><integer>1</integer>
      <key>creationDate</key><date>2025-03-04T08:15:00Z</date>
      <key>label</key><string>Site visit</string>
      <key>plainText</key><string>Visited %filltext:name=site% on %A.%|</string>
      <key>snippetType</key><integer>0</integer>
      <key>useCount</key><integer>7</integer>
      <key>uuidString</key><string>7C3A0E52-1B4D-4F0E-9E7A-2D6C81F4B903</string>
    </dict>
    <dict>
      <key>abbreviation</key><string>;as</string>
      <key>plainText</key><string>tell app "Finder"</string>
      <key>snippetType</key><integer>2</integer>
    </dict>
    <dict>
      <key>abbreviation</key><string>;js</string>
      <key>plainText</key><string>return 1 + 1;</string>
      <key>snippetType</key><integer>4</integer>
    </dict>
  </array>
</dict></plist>)";
    const auto document = TextExpanderImporter::importBytes(xml, "Field notes.textexpander", kNow);
    ASSERT_EQ(document.groups.size(), 1u);
    EXPECT_EQ(document.groups[0].name, "Field notes");
    ASSERT_EQ(document.snippets.size(), 2u);
    const auto& visit = document.snippets[0];
    EXPECT_EQ(visit.abbreviation, ";visit");
    EXPECT_EQ(visit.label, "Site visit");
    EXPECT_EQ(visit.content, "Visited {{input:site}} on {{date:EEEE}}.{{cursor}}");
    EXPECT_EQ(visit.caseSensitivity, CaseSensitivity::insensitive);
    EXPECT_EQ(visit.useCount, 7);
    EXPECT_EQ(visit.createdAt, *parseIso8601("2025-03-04T08:15:00Z"));
    EXPECT_EQ(visit.id.toString(), "7C3A0E52-1B4D-4F0E-9E7A-2D6C81F4B903");
    EXPECT_EQ(visit.originalId, "7C3A0E52-1B4D-4F0E-9E7A-2D6C81F4B903");
    EXPECT_EQ(visit.groupId, document.groups[0].id);
    EXPECT_EQ(visit.importSource->type, ImportSourceType::textExpanderPlist);
    EXPECT_EQ(document.snippets[1].contentType, ContentType::javaScript);
    EXPECT_EQ(document.notes.sentences().size(), 2u);
}

TEST(TextExpanderImporter, GivesBackWhatOurExportWrote) {
    SnippetGroup work;
    work.id = Uuid::random();
    work.name = "Work & Play";
    SnippetGroup mail;
    mail.id = Uuid::random();
    mail.name = "Mail";
    mail.parentId = work.id;
    auto make = [](std::string abbreviation, std::string content, ContentType type,
                   std::optional<Uuid> group) {
        Snippet s;
        s.id = Uuid::random();
        s.abbreviation = std::move(abbreviation);
        s.label = "Label <" + s.abbreviation + ">";
        s.content = std::move(content);
        s.contentType = type;
        s.groupId = group;
        s.caseSensitivity = CaseSensitivity::autoDetect;
        s.createdAt = *parseIso8601("2024-01-02T03:04:05Z");
        s.modifiedAt = *parseIso8601("2025-06-07T08:09:10Z");
        s.useCount = 3;
        return s;
    };
    const std::vector<Snippet> library{
        make(";d", "Today is {{date:EEEE, MMMM dd, yyyy}}{{cursor}}\r\n{{clipboard}} & more",
             ContentType::plainText, mail.id),
        make(";k", "{{key:tab}}{{input:Name}} {{snippet:;d}} 100%", ContentType::plainText,
             work.id),
        make(";js", "return 'x';", ContentType::javaScript, std::nullopt),
    };
    const auto exported = renderTextExpanderExport(library, {work, mail});
    const auto document = TextExpanderImporter::importBytes(exported.text, "x.textexpander", kNow);

    ASSERT_EQ(document.groups.size(), 2u);
    EXPECT_EQ(document.groups[0].name, "Work & Play");
    EXPECT_EQ(document.groups[1].name, "Mail");
    EXPECT_EQ(document.groups[1].parentId, document.groups[0].id);
    ASSERT_EQ(document.snippets.size(), library.size());
    for (std::size_t i = 0; i < library.size(); ++i) {
        const auto& before = library[i];
        const auto& after = document.snippets[i];
        EXPECT_EQ(after.id, before.id);
        EXPECT_EQ(after.abbreviation, before.abbreviation);
        EXPECT_EQ(after.label, before.label);
        EXPECT_EQ(after.content, before.content);
        EXPECT_EQ(after.contentType, before.contentType);
        EXPECT_EQ(after.caseSensitivity, before.caseSensitivity);
        EXPECT_EQ(after.createdAt, before.createdAt);
        EXPECT_EQ(after.modifiedAt, before.modifiedAt);
        EXPECT_EQ(after.useCount, before.useCount);
        EXPECT_EQ(after.groupId, before.groupId);
    }
    EXPECT_TRUE(document.notes.empty());
}

TEST(TextExpanderImporter, RefusesWhatIsNotATextExpanderList) {
    EXPECT_THROW(TextExpanderImporter::importBytes("not a plist", "a.textexpander", kNow),
                 ImportError);
    EXPECT_THROW(TextExpanderImporter::importBytes(
                     "<plist version=\"1.0\"><array><string>x</string></array></plist>",
                     "b.textexpander", kNow),
                 ImportError);
    EXPECT_THROW(TextExpanderImporter::importBytes(
                     "<plist version=\"1.0\"><dict><key>x</key><true/></dict></plist>",
                     "c.textexpander", kNow),
                 ImportError);
    // Truncated mid-document.
    EXPECT_THROW(TextExpanderImporter::importBytes(
                     "<plist version=\"1.0\"><dict><key>snippetsTE2</key><array><dict>",
                     "d.textexpander", kNow),
                 ImportError);
}

}  // namespace
}  // namespace wordloom
