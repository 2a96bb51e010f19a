#include "core/transfer/ImportFormatDetection.h"

#include <fstream>

#include "core/base/Text.h"
#include "core/transfer/ImportError.h"

namespace wordloom {
namespace {

// Enough of the file to see its kind; every check below looks only at its start.
constexpr std::size_t kSniffBytes = 64 * 1024;

std::string_view skipBomAndBlanks(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t' || text.front() == '\n' ||
                             text.front() == '\r')) {
        text.remove_prefix(1);
    }
    return text;
}

bool contains(std::string_view text, std::string_view what) {
    return text.find(what) != std::string_view::npos;
}

std::optional<ImportFormat> plistFormat(std::string_view text) {
    // Keys of the two libraries; binary lists hold their key strings verbatim too.
    if (contains(text, "snippetsTE") || contains(text, "groupsTE2") ||
        contains(text, "snippetPlists") || contains(text, "groupInfo")) {
        return ImportFormat::textExpander;
    }
    if (contains(text, "Clippings") || contains(text, "Plain Text")) {
        return ImportFormat::typeIt4Me;
    }
    if (contains(text, "shortcut") && contains(text, "phrase")) {
        return ImportFormat::aText;
    }
    return std::nullopt;
}

bool looksLikeEspanso(std::string_view text) {
    auto startsLine = [&](std::string_view key) {
        return text.starts_with(key) || contains(text, "\n" + std::string(key));
    };
    return startsLine("matches:") || startsLine("global_vars:") || startsLine("imports:");
}

// Two CSV columns on the first line: a field, a comma, and the start of a second field.
bool looksLikeTwoColumnCsv(std::string_view text) {
    if (text.empty() || text.front() == '{' || text.front() == '[' || text.front() == '<') {
        return false;
    }
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && c == ',') {
            // The first column is an abbreviation: short, and without blanks.
            const auto first = text.substr(0, i);
            return i > 0 && i <= 64 && first.find_first_of(" \t") == std::string_view::npos;
        } else if (!quoted && (c == '\n' || c == '\r')) {
            return false;
        }
    }
    return false;
}

}  // namespace

std::optional<ImportFormat> detectImportFormat(std::string_view content) {
    if (content.starts_with("PK\x03\x04") || content.starts_with("PK\x05\x06")) {
        return ImportFormat::alfred;
    }
    if (content.starts_with("bplist00")) {
        return plistFormat(content);
    }
    const auto text = skipBomAndBlanks(content);
    if (text.starts_with("<?xml") || text.starts_with("<!DOCTYPE plist") ||
        text.starts_with("<plist")) {
        return plistFormat(text);
    }
    if (text.starts_with("{")) {
        return contains(text, "\"snippets\"") ? std::optional(ImportFormat::wordloom)
                                              : std::nullopt;
    }
    if (text.starts_with("[")) {
        if (contains(text, "\"text\"")) {
            return ImportFormat::raycast;
        }
        return looksLikeEspanso(text) ? std::optional(ImportFormat::espanso) : std::nullopt;
    }
    if (looksLikeEspanso(text)) {
        return ImportFormat::espanso;
    }
    if (looksLikeTwoColumnCsv(text)) {
        return ImportFormat::aText;
    }
    return std::nullopt;
}

ImportFormat detectImportFormatOfPath(const std::filesystem::path& path) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        return ImportFormat::espanso;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw ImportError("Couldn't open \u201c" + path.string() + "\u201d.");
    }
    std::string head(kSniffBytes, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(in.gcount()));
    if (const auto format = detectImportFormat(head)) {
        return *format;
    }
    throw ImportError("\u201c" + path.filename().string() +
                      "\u201d is not a library Wordloom can import (espanso, TextExpander, "
                      "Alfred, Raycast, aText, TypeIt4Me or a Wordloom export). If it is one, "
                      "name its format with --format.");
}

}  // namespace wordloom
