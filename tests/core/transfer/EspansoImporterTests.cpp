#include <gtest/gtest.h>

#include <fstream>

#include "core/base/Iso8601.h"
#include "core/transfer/EspansoImporter.h"
#include "core/transfer/ImportError.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

const Timestamp kNow = *parseIso8601("2026-11-25T10:00:00Z");

void write(const std::filesystem::path& path, std::string_view text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

const Snippet& byAbbreviation(const ImportDocument& document, std::string_view abbreviation) {
    for (const auto& snippet : document.snippets) {
        if (snippet.abbreviation == abbreviation) {
            return snippet;
        }
    }
    throw std::runtime_error("no snippet " + std::string(abbreviation));
}

TEST(EspansoImporter, MapsTriggersVariablesAndMatchOptions) {
    const auto document = EspansoImporter::importText(R"yaml(
global_vars:
  - name: me
    type: echo
    params: { echo: "Rosa Ibarra" }
matches:
  - triggers: [";addr", ";address"]
    replace: "12 Quay Lane\nPortwick"
    word: true
  - trigger: ";stamp"
    label: ISO date, tomorrow
    search_terms: [date, due]
    replace: "Due {{d}} -- {{me}}$|$"
    vars:
      - name: d
        type: date
        params: { format: "%Y-%m-%d at %H:%M", offset: 86400 }
  - trigger: ";pc"
    propagate_case: true
    replace: "{{clip}} / {{other}} / {{ nested }}"
    vars:
      - { name: clip, type: clipboard }
      - { name: other, type: shell, params: { cmd: "date" } }
      - { name: nested, type: match, params: { trigger: ";addr" } }
  - trigger: ";dice"
    replace: "{{roll}} {{pick}}"
    vars:
      - { name: roll, type: random, params: { choices: ["3", "1", "2"] } }
      - { name: pick, type: choice, params: { values: ["a,b", "c"] } }
  - regex: ";hi(?P<name>\\w+)/"
    replace: "Hello {{name}}"
  - markdown: "**bold**"
    trigger: ";md"
)yaml",
                                                      "base.yml", kNow);
    ASSERT_EQ(document.groups.size(), 1u);
    EXPECT_EQ(document.groups[0].name, "base");
    ASSERT_EQ(document.snippets.size(), 7u);

    const auto& addr = byAbbreviation(document, ";addr");
    const auto& address = byAbbreviation(document, ";address");
    EXPECT_EQ(addr.content, "12 Quay Lane\nPortwick");
    EXPECT_EQ(address.content, addr.content);
    EXPECT_NE(address.id, addr.id);
    EXPECT_EQ(addr.triggerMode, TriggerMode::delimiter);
    EXPECT_EQ(addr.caseSensitivity, CaseSensitivity::sensitive);
    EXPECT_EQ(addr.groupId, document.groups[0].id);
    ASSERT_TRUE(addr.importSource);
    EXPECT_EQ(addr.importSource->type, ImportSourceType::espansoYAML);
    EXPECT_EQ(addr.importSource->fileName, "base.yml");

    const auto& stamp = byAbbreviation(document, ";stamp");
    EXPECT_EQ(stamp.content, "Due {{date+1d:yyyy-MM-dd 'at' HH:mm}} -- Rosa Ibarra{{cursor}}");
    EXPECT_EQ(stamp.label, "ISO date, tomorrow");
    EXPECT_EQ(stamp.tags, (std::vector<std::string>{"date", "due"}));
    EXPECT_EQ(stamp.triggerMode, TriggerMode::immediate);

    const auto& pc = byAbbreviation(document, ";pc");
    EXPECT_EQ(pc.content, "{{clipboard}} / {{other}} / {{snippet:;addr}}");
    EXPECT_EQ(pc.caseSensitivity, CaseSensitivity::autoDetect);

    EXPECT_EQ(byAbbreviation(document, ";dice").content,
              "{{random:1-3}} {{select:name=pick:options=a\\,b,c}}");

    const auto& regex = byAbbreviation(document, ";hi(?<name>\\w+)/");
    EXPECT_EQ(regex.matchType, AbbreviationMatchType::regex);
    EXPECT_EQ(regex.content, "Hello {{name}}");
    EXPECT_EQ(byAbbreviation(document, ";md").contentType, ContentType::markdown);

    const auto notes = document.notes.sentences();
    EXPECT_NE(std::find(notes.begin(), notes.end(),
                        "1 snippets use espanso shell variables, kept as text"),
              notes.end());
    EXPECT_NE(std::find(notes.begin(), notes.end(),
                        "1 snippets use regex capture groups, which Wordloom cannot insert"),
              notes.end());
}

TEST(EspansoImporter, TurnsFormsIntoFillInsWithTheirDefaultsAndChoices) {
    const auto document = EspansoImporter::importText(R"yaml(
matches:
  - trigger: ";reply"
    form: |
      Hi [[who]], your ticket is [[state]].
      [[note]]
    form_fields:
      who: { default: "Sam: Lee" }
      state: { type: choice, values: [open, closed] }
      note: { multiline: true }
  - trigger: ";old"
    replace: "{{form1.name}} ({{form1.size}})"
    vars:
      - name: form1
        type: form
        params:
          layout: "[[name]] [[size]]"
          fields: { size: { type: list, values: "S\n M \n\nL" } }
)yaml",
                                                      "forms.yml", kNow);
    ASSERT_EQ(document.snippets.size(), 2u);
    EXPECT_EQ(byAbbreviation(document, ";reply").content,
              "Hi {{input:name=who:default=Sam\\: Lee}}, your ticket is "
              "{{select:name=state:options=open,closed}}.\n{{textarea:note}}\n");
    EXPECT_EQ(byAbbreviation(document, ";old").content,
              "{{input:name}} ({{select:name=size:options=S,M,L}})");
}

TEST(EspansoImporter, SkipsWhatCannotBeAMatchAndRejectsWhatIsNotAMatchFile) {
    const auto document = EspansoImporter::importText(R"yaml(
matches:
  - replace: "no trigger"
  - trigger: ";x"
  - regex: "(unclosed"
    replace: "x"
  - trigger: ";ok"
    replace: "fine"
)yaml",
                                                      "odd.yml", kNow);
    ASSERT_EQ(document.snippets.size(), 1u);
    EXPECT_EQ(document.snippets[0].abbreviation, ";ok");
    const auto notes = document.notes.sentences();
    EXPECT_EQ(notes.size(), 3u);

    EXPECT_THROW(EspansoImporter::importText("matches: [", "bad.yml", kNow), ImportError);
    EXPECT_THROW(EspansoImporter::importText("- just\n- a list\n", "list.yml", kNow), ImportError);
}

TEST(EspansoImporter, AnchorsAreResolvedAndDeepNestingIsAnErrorNotACrash) {
    const auto document = EspansoImporter::importText(R"yaml(
base: &sig
  replace: "Kind regards"
  word: true
matches:
  - { <<: *sig, trigger: ";kr" }
  - trigger: ";same"
    replace: *sig
)yaml",
                                                      "anchors.yml", kNow);
    // The merge key brings in the shared fields; a replacement that is a mapping is no text.
    ASSERT_EQ(document.snippets.size(), 1u);
    EXPECT_EQ(document.snippets[0].abbreviation, ";kr");
    EXPECT_EQ(document.snippets[0].content, "Kind regards");
    EXPECT_EQ(document.snippets[0].triggerMode, TriggerMode::delimiter);

    std::string deep(100000, '[');
    deep = "matches: " + deep;
    EXPECT_THROW(EspansoImporter::importText(deep, "deep.yml", kNow), ImportError);
}

TEST(EspansoImporter, ReadsAConfigurationFolderWithImportsPackagesAndAppConfigs) {
    test::TemporaryDirectory dir;
    const auto root = dir / "espanso";
    write(root / "match" / "base.yml", R"yaml(
imports: ["_shared.yml", "missing.yml"]
matches:
  - trigger: ";sig"
    replace: "{{me}}"
)yaml");
    write(root / "match" / "_shared.yml", R"yaml(
global_vars:
  - { name: me, type: echo, params: { echo: "Rosa" } }
matches:
  - trigger: ";shared"
    replace: "from shared"
)yaml");
    write(root / "match" / "_mail.yml", "matches:\n  - trigger: \";br\"\n    replace: \"Best\"\n");
    write(root / "match" / "packages" / "greek" / "package.yml",
          "matches:\n  - trigger: \":alpha\"\n    replace: \"\xce\xb1\"\n");
    write(root / "match" / "packages" / "greek" / "_manifest.yml", "name: greek\n");
    write(root / "config" / "default.yml", "toggle_key: ALT\n");
    write(root / "config" / "mail.yml",
          "filter_class: thunderbird\nextra_includes: [\"../match/_mail.yml\"]\n");
    std::ofstream(root / "match" / "logo.png") << "PNG";
    write(root / "match" / "images.yml",
          "matches:\n  - trigger: \";logo\"\n    image_path: \"$CONFIG/match/logo.png\"\n"
          "  - trigger: \";gone\"\n    image_path: \"/nowhere.png\"\n");

    const auto document = EspansoImporter::importPath(root, kNow);
    std::vector<std::string> groupNames;
    for (const auto& group : document.groups) {
        groupNames.push_back(group.name);
    }
    EXPECT_EQ(groupNames, (std::vector<std::string>{"base", "shared", "images", "greek", "mail"}));
    EXPECT_EQ(byAbbreviation(document, ";sig").content, "Rosa");
    EXPECT_EQ(byAbbreviation(document, ":alpha").content, "\xce\xb1");
    const auto& logo = byAbbreviation(document, ";logo");
    EXPECT_EQ(logo.contentType, ContentType::image);
    EXPECT_EQ(logo.imageData, (Bytes{'P', 'N', 'G'}));
    const auto& mail = byAbbreviation(document, ";br");
    EXPECT_EQ(mail.appFilterMode, AppFilterMode::whitelist);
    ASSERT_EQ(mail.filteredApps.size(), 1u);
    EXPECT_EQ(mail.filteredApps[0].bundleId, "thunderbird");
    EXPECT_EQ(document.snippets.size(), 5u);
    const auto notes = document.notes.sentences();
    EXPECT_EQ(notes.size(), 2u);  // the missing import and the unreadable picture
}

}  // namespace
}  // namespace wordloom
