#include "app/cli/SnippetOptions.h"

#include <unicode/regex.h>

#include <istream>
#include <iterator>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/EnumCoding.h"
#include "core/base/FileIO.h"
#include "core/triggers/HotkeyKeyTable.h"
#include "core/triggers/ShortcutValidator.h"
#include "platform/x11/DesktopShortcutBindings.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

template <typename E>
E parseEnumOption(const std::string& option, const std::string& value) {
    if (const auto parsed = enumFromRaw<E>(value)) {
        return *parsed;
    }
    std::string allowed;
    for (const auto name : EnumNames<E>::names) {
        allowed += (allowed.empty() ? "" : ", ") + std::string(name);
    }
    throw UsageError("invalid value \u201c" + value + "\u201d for --" + option +
                     ". Allowed: " + allowed + ".");
}

std::string readContentFile(const CommandInvocation& invocation, const std::string& file) {
    if (file == "-") {
        std::string text;
        char buffer[65536];
        while (invocation.in().read(buffer, sizeof buffer) || invocation.in().gcount() > 0) {
            text.append(buffer, static_cast<std::size_t>(invocation.in().gcount()));
            if (text.size() > fileSizeLimit::snippetPart) {
                throw CommandError(
                    fileTooLargeMessage("standard input", text.size(), fileSizeLimit::snippetPart));
            }
        }
        return text;
    }
    try {
        return readFile(file, fileSizeLimit::snippetPart);
    } catch (const FileError& error) {
        throw CommandError(error.what());
    }
}

bool isValidPattern(const std::string& pattern) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern), 0, parseError, status));
    return U_SUCCESS(status) && compiled;
}

/// "--hotkey Super+Shift+S" (or "s+0x120000"); "" removes the hotkey. Refused as the shortcut
/// recorder refuses it.
std::optional<SnippetHotkey> hotkeyOption(const std::string& value) {
    if (value.empty()) {
        return std::nullopt;
    }
    const auto parsed = parseShortcut(value);
    const auto code = parsed ? hotkeyKeys::keyCode(parsed->first) : std::nullopt;
    if (!parsed) {
        throw UsageError("write --hotkey as the desktop does (\u201cSuper+Shift+S\u201d)");
    }
    const ShortcutValidator validator(
        ShortcutPlatform::linuxDesktop(readDesktopShortcutBindings()));
    if (const auto message = validator.validate(parsed->first, parsed->second)) {
        throw CommandError(*message);
    }
    return SnippetHotkey{*code, parsed->second};
}

}  // namespace

std::vector<OptionSpec> snippetOptionSpecs() {
    return {{"abbreviation", Kind::value}, {"label", Kind::value}, {"content", Kind::value},
            {"content-file", Kind::value}, {"type", Kind::value},  {"group", Kind::value},
            {"trigger", Kind::value},      {"case", Kind::value},  {"match", Kind::value},
            {"tag", Kind::repeatedValue},  {"image", Kind::value}, {"force", Kind::flag},
            {"hotkey", Kind::value}};
}

void applySnippetOptions(const CommandInvocation& invocation, const ParsedArguments& arguments,
                         const SnippetStore& store, Snippet& snippet) {
    if (arguments.has("content") && arguments.has("content-file")) {
        throw UsageError("give either --content or --content-file, not both");
    }
    if (auto value = arguments.value("abbreviation")) {
        snippet.abbreviation = *value;
    }
    if (auto value = arguments.value("label")) {
        snippet.label = *value;
    }
    if (auto value = arguments.value("content")) {
        snippet.content = *value;
    }
    if (auto file = arguments.value("content-file")) {
        snippet.content = readContentFile(invocation, *file);
    }
    if (auto value = arguments.value("type")) {
        snippet.contentType = parseEnumOption<ContentType>("type", *value);
    }
    if (auto value = arguments.value("trigger")) {
        snippet.triggerMode = parseEnumOption<TriggerMode>("trigger", *value);
    }
    if (auto value = arguments.value("case")) {
        snippet.caseSensitivity = parseEnumOption<CaseSensitivity>("case", *value);
    }
    if (auto value = arguments.value("match")) {
        snippet.matchType = parseEnumOption<AbbreviationMatchType>("match", *value);
    }
    if (arguments.has("tag")) {
        snippet.tags = arguments.values("tag");
    }
    if (auto value = arguments.value("hotkey")) {
        snippet.hotkey = hotkeyOption(*value);
    }
    if (auto name = arguments.value("group")) {
        snippet.groupId =
            name->empty() ? std::nullopt : std::optional<Uuid>(resolveGroup(store, *name).id);
    }
    if (auto file = arguments.value("image")) {
        if (arguments.has("type") && snippet.contentType != ContentType::image) {
            throw UsageError("--image needs --type image (or no --type)");
        }
        try {
            const auto bytes = readFile(*file, fileSizeLimit::snippetPart);
            snippet.imageData = Bytes(bytes.begin(), bytes.end());
        } catch (const FileError& error) {
            throw CommandError(error.what());
        }
        snippet.contentType = ContentType::image;
    }
}

std::optional<std::string> checkSnippetBeforeSaving(const SnippetStore& store,
                                                    const Snippet& snippet, bool force) {
    if (!isValidAbbreviation(snippet.abbreviation)) {
        throw CommandError(invalidAbbreviationMessage(snippet.abbreviation));
    }
    if (snippet.matchType == AbbreviationMatchType::regex &&
        !isValidPattern(snippet.abbreviation)) {
        throw CommandError("The abbreviation \u201c" + snippet.abbreviation +
                           "\u201d is not a valid regular expression.");
    }
    if (snippet.contentType == ContentType::image && !snippet.imageData && !snippet.imageFileName) {
        throw CommandError("An image snippet needs its picture: give --image FILE.");
    }
    const auto conflict = store.checkConflict(snippet.abbreviation, snippet.id);
    switch (conflict.kind) {
        case ConflictCheckResult::Kind::exactMatch:
            if (!force) {
                throw CommandError(*conflict.message() + " (use --force to add it anyway)");
            }
            return conflict.message();
        case ConflictCheckResult::Kind::caseInsensitiveMatch:
            return conflict.message();
        case ConflictCheckResult::Kind::noConflict:
            return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace wordloom::cli
