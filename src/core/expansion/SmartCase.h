#pragma once

#include <string>
#include <string_view>

namespace wordloom {

/// How the typed abbreviation's letter case differs from the stored one.
enum class CasePattern { none, allCaps, capitalized };

/// Compares typed `typed` with stored `stored`: only an all-lower-case stored abbreviation
/// adapts, and only letters count. ";SIG" for ";sig" is allCaps, ";Sig" capitalized.
CasePattern casePattern(std::string_view typed, std::string_view stored);

/// Applies `pattern` to the literal text of `content`, leaving every macro as written:
/// allCaps upper-cases all literal text, capitalized upper-cases the first letter of the
/// expansion (skipping leading non-letters) and nothing else.
std::string applyCasePattern(std::string_view content, CasePattern pattern);

}  // namespace wordloom
