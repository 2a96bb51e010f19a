#pragma once

#include <array>

#include "core/base/EnumCoding.h"

namespace wordloom {

enum class ContentType { plainText, richText, markdown, code, javaScript, image };
enum class AbbreviationMatchType { exact, regex };
enum class AppFilterMode { all, whitelist, blacklist };
enum class CaseSensitivity { sensitive, insensitive, autoDetect };
enum class TriggerMode { immediate, delimiter, manual };
enum class ImportSourceType {
    textExpanderCSV,
    textExpanderPlist,
    textExpanderSettings,
    typeIt4MeCSV,
    typeIt4MePlist,
    typeIt4MeText,
    raycastJSON,
    espansoYAML,
    alfredSnippets,
    aTextCSV,
    aTextJSON,
};
enum class CodeLanguage {
    autoDetect,
    swift,
    javascript,
    typescript,
    python,
    bash,
    json,
    html,
    css,
    sql,
    go,
    rust,
    c,
    java,
    kotlin,
    csharp,
    ruby,
    php,
    yaml,
    plain,
};

// `auto` is a C++ keyword, so that case is named autoDetect; its raw value stays "auto".
template <>
struct EnumNames<ContentType> {
    static constexpr std::array names{"plainText", "richText",   "markdown",
                                      "code",      "javaScript", "image"};
};
template <>
struct EnumNames<AbbreviationMatchType> {
    static constexpr std::array names{"exact", "regex"};
};
template <>
struct EnumNames<AppFilterMode> {
    static constexpr std::array names{"all", "whitelist", "blacklist"};
};
template <>
struct EnumNames<CaseSensitivity> {
    static constexpr std::array names{"sensitive", "insensitive", "auto"};
};
template <>
struct EnumNames<TriggerMode> {
    static constexpr std::array names{"immediate", "delimiter", "manual"};
};
template <>
struct EnumNames<ImportSourceType> {
    static constexpr std::array names{
        "textExpanderCSV", "textExpanderPlist", "textExpanderSettings",
        "typeIt4MeCSV",    "typeIt4MePlist",    "typeIt4MeText",
        "raycastJSON",     "espansoYAML",       "alfredSnippets",
        "aTextCSV",        "aTextJSON"};
};
template <>
struct EnumNames<CodeLanguage> {
    static constexpr std::array names{"auto",   "swift", "javascript", "typescript", "python",
                                      "bash",   "json",  "html",       "css",        "sql",
                                      "go",     "rust",  "c",          "java",       "kotlin",
                                      "csharp", "ruby",  "php",        "yaml",       "plain"};
};

}  // namespace wordloom
