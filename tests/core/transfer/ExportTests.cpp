#include <gtest/gtest.h>

#include <fstream>

#include "core/base/FileIO.h"
#include "core/base/Iso8601.h"
#include "core/base/JsonReader.h"
#include "core/transfer/CsvExport.h"
#include "core/transfer/ExportError.h"
#include "core/transfer/ExportService.h"
#include "core/transfer/TextExpanderDocument.h"
#include "core/transfer/WordloomToTEMacroConverter.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

Timestamp at(const char* iso) {
    return *parseIso8601(iso);
}

Snippet snippet(std::string abbreviation, std::string content,
                ContentType type = ContentType::plainText) {
    Snippet s;
    s.id = Uuid::random();
    s.abbreviation = std::move(abbreviation);
    s.content = std::move(content);
    s.contentType = type;
    s.createdAt = s.modifiedAt = at("2026-01-02T03:04:05Z");
    return s;
}

SnippetGroup group(std::string name, std::optional<Uuid> parent = std::nullopt) {
    SnippetGroup g;
    g.id = Uuid::random();
    g.name = std::move(name);
    g.parentId = parent;
    return g;
}

TEST(CsvExport, GuardsFormulasAfterLeadingBlanksAndQuotesWhatNeedsIt) {
    EXPECT_EQ(escapeCsvField("=SUM(A1)"), "'=SUM(A1)");
    EXPECT_EQ(escapeCsvField("  -5"), "  '-5");
    EXPECT_EQ(escapeCsvField("+1"), "'+1");
    EXPECT_EQ(escapeCsvField("@home"), "'@home");
    EXPECT_EQ(escapeCsvField("a=b"), "a=b");
    EXPECT_EQ(escapeCsvField("one, two"), "\"one, two\"");
    EXPECT_EQ(escapeCsvField("line\nbreak"), "\"line\nbreak\"");
    EXPECT_EQ(escapeCsvField("a \"b\" c"), "\"a \"\"b\"\" c\"");
    // The guard comes first, so a quoted formula keeps its apostrophe inside the quotes.
    EXPECT_EQ(escapeCsvField("=HYPERLINK(\"x\",1)"), "\"'=HYPERLINK(\"\"x\"\",1)\"");
    EXPECT_EQ(escapeCsvField(""), "");
}

TEST(CsvExport, WritesOneLinePerSnippetAndSkipsImagesWithWarnings) {
    auto work = group("Work");
    auto sig = snippet(";sig", "Best,\nAda");
    sig.label = "Signature";
    sig.groupId = work.id;
    sig.tags = {"mail", "work"};
    auto off = snippet(";off", "x");
    off.isEnabled = false;
    off.groupId = Uuid::random();  // a group that is gone exports with no name
    auto picture = snippet(";logo", "", ContentType::image);
    picture.label = "Logo";

    const auto result = renderCsvExport({sig, picture, off}, {work});
    EXPECT_EQ(result.text,
              "Abbreviation,Label,Content,Group,Enabled,Tags\n"
              ";sig,Signature,\"Best,\nAda\",Work,true,\"mail,work\"\n"
              ";off,,x,,false,\n");
    ASSERT_EQ(result.warnings.size(), 2u);
    EXPECT_EQ(result.warnings[0],
              "Skipped image snippet 'Logo' \u2014 CSV cannot represent image data. Use JSON "
              "export to round-trip images.");
    EXPECT_EQ(result.warnings[1],
              "1 image snippets \u2014 CSV cannot represent image data. Use JSON export to "
              "round-trip images.");
}

TEST(TEMacroConverter, ConvertsEveryMacroItKnowsAndLeavesTheRest) {
    using C = WordloomToTEMacroConverter;
    EXPECT_EQ(C::convert("{{date:EEEE, MMMM d, yyyy}}"), "%@strftime{%A, %B %e, %Y}");
    EXPECT_EQ(C::convert("at {{time:HH:mm:ss a}}"), "at %@strftime{%H:%M:%S %p}");
    EXPECT_EQ(C::convert("Hi {{clipboard}}{{cursor}}!"), "Hi %clipboard%|!");
    EXPECT_EQ(C::convert("{{key:tab}}{{key:return}}{{key:right}}"),
              "%key:tab%%key:return%%key:right%");
    EXPECT_EQ(C::convert("{{key:f5}} {{key:space}}"), "{{key:f5}} {{key:space}}");
    EXPECT_EQ(C::convert("{{uuid}} {{snippet:;a}} {{date}} {{date:}}"),
              "{{uuid}} {{snippet:;a}} {{date}} {{date:}}");
    // A brace inside the format ends the match: not a date macro.
    EXPECT_EQ(C::convert("{{date:a}b}}"), "{{date:a}b}}");
    EXPECT_EQ(C::convert("{{date:yy}} {{date:x"), "%@strftime{%y} {{date:x");
}

TEST(TEMacroConverter, DateTokensAreTakenLeftToRightLongestFirst) {
    using C = WordloomToTEMacroConverter;
    EXPECT_EQ(C::convertDateFormat("MMMMMMM"), "%B%b");
    EXPECT_EQ(C::convertDateFormat("yyyyy"), "%Yy");
    EXPECT_EQ(C::convertDateFormat("ddd"), "%d%e");
    EXPECT_EQ(C::convertDateFormat("hh:mm zzz"), "%I:%M %Z");
    EXPECT_EQ(C::convertDateFormat("M/y 'Q'"), "M/y 'Q'");
    EXPECT_EQ(C::convertDateFormat("EEEEE"), "%AE");
}

TEST(TextExpanderExport, MarksConvertsSkipsAndReportsInOrder) {
    auto a = group("A");
    auto b = group("B", a.id);
    a.parentId = b.id;  // A -> B -> A
    auto plain = snippet(";d", "{{date:yyyy}} 5 < 6 & {{cursor}}");
    plain.groupId = a.id;
    auto script = snippet(";js", "return 1;", ContentType::javaScript);
    script.label = "Sum";
    auto rich = snippet(";rt", "bold", ContentType::richText);
    auto picture = snippet(";img", "", ContentType::image);
    auto orphan = snippet(";o", "x");
    orphan.groupId = Uuid::random();

    const auto result = renderTextExpanderExport({plain, script, rich, picture, orphan}, {a, b});
    EXPECT_NE(result.text.find("<string>%@strftime{%Y} 5 &lt; 6 &amp; %|</string>"),
              std::string::npos);
    EXPECT_NE(result.text.find("<string>Sum [JavaScript source preserved]</string>"),
              std::string::npos);
    EXPECT_NE(result.text.find("/* Wordloom JS \u2014 not executable in TextExpander */\n"
                               "return 1;"),
              std::string::npos);
    EXPECT_NE(result.text.find("<string>[rich text flattened]</string>"), std::string::npos);
    EXPECT_EQ(result.text.find(";img"), std::string::npos);
    EXPECT_NE(result.text.find("<string>Imported from Wordloom</string>"), std::string::npos);
    EXPECT_EQ(result.text.find("parentUuidString"), std::string::npos);
    const std::vector<std::string> expected{
        "Group 'A' had a cyclic hierarchy and was exported at the top level.",
        "Group 'B' had a cyclic hierarchy and was exported at the top level.",
        "1 JavaScript snippets exported as source comments \u2014 TextExpander cannot execute "
        "Wordloom JS.",
        "1 rich-text snippets exported as plain text \u2014 formatting was dropped.",
        "1 image snippets skipped \u2014 TextExpander format does not support image content.",
        "1 snippets referenced missing groups and were exported under 'Imported from "
        "Wordloom'.",
    };
    EXPECT_EQ(result.warnings, expected);
}

TEST(ExportService, JsonCarriesImageBytesAndCountsMissingOnes) {
    test::TemporaryDirectory dir;
    auto withFile = snippet(";a", "", ContentType::image);
    withFile.imageFileName = "a.bin";
    auto missing = snippet(";b", "", ContentType::image);
    const Bytes bytes{0x89, 'P', 'N', 'G'};
    ExportService service(
        [&](const Snippet& s) -> std::optional<Bytes> {
            return s.id == withFile.id ? std::optional(bytes) : std::nullopt;
        },
        [] { return at("2026-11-25T10:00:00Z"); });
    const auto warnings =
        service.exportLibrary({withFile, missing}, {}, ExportFormat::json, dir / "out.json");
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_EQ(warnings[0],
              "1 image snippets exported without bytes \u2014 sidecar files missing from disk. "
              "Re-importing this backup will produce empty image snippets.");
    const auto text = readFile(dir / "out.json");
    JsonDocument document(text);
    const auto root = *json::asObject(document.root());
    EXPECT_EQ(json::asString(*json::member(root, "exportDate")), "2026-11-25T10:00:00Z");
    EXPECT_EQ(json::asInt(*json::member(root, "version")), 1);
    const auto list = *json::asArray(*json::member(root, "snippets"));
    auto first = *json::asObject(*list.begin());
    EXPECT_EQ(json::asBytes(*json::member(first, "imageData")), bytes);
    EXPECT_FALSE(json::member(first, "imageFileName"));
    EXPECT_EQ(std::filesystem::status(dir / "out.json").permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(ExportService, AFolderThatCannotBeWrittenFailsWithoutAFile) {
    test::TemporaryDirectory dir;
    ExportService service(nullptr, [] { return Timestamp{}; });
    try {
        service.exportLibrary({snippet(";a", "x")}, {}, ExportFormat::csv,
                              dir / "missing" / "out.csv");
        FAIL() << "expected ExportError";
    } catch (const ExportError& error) {
        EXPECT_EQ(error.kind(), ExportError::Kind::writeFailed);
        EXPECT_STREQ(error.what(), "Failed to write the export file.");
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "missing"));
}

TEST(ExportService, DefaultFileNameUsesTheLocalDateAndTheExtension) {
    setenv("TZ", "UTC", 1);
    tzset();
    const auto now = at("2026-03-09T12:00:00Z");
    EXPECT_EQ(ExportService::defaultFileName(ExportFormat::json, now),
              "Wordloom Export 2026-03-09.json");
    EXPECT_EQ(ExportService::defaultFileName(ExportFormat::textExpander, now),
              "Wordloom Export 2026-03-09.textexpander");
    EXPECT_EQ(exportFormatNamed("TextExpander"), ExportFormat::textExpander);
    EXPECT_EQ(exportFormatNamed("xml"), std::nullopt);
}

}  // namespace
}  // namespace wordloom
