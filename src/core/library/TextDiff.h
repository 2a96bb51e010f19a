#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// One line of a line-by-line comparison of two texts.
struct DiffLine {
    enum class Kind { same, removed, added };
    Kind kind = Kind::same;
    std::string text;
    bool operator==(const DiffLine&) const = default;
};

/// The shortest edit from `before` to `after`, line by line (Myers' algorithm), as the lines of
/// both in reading order: unchanged lines once, removed lines before the lines that replace
/// them. Lines end at "\n" ("\r\n" counts as one break). Texts of many thousands of lines that
/// differ everywhere stop being compared after `maximumEdits` edits; the rest is then shown as
/// removed and added whole.
std::vector<DiffLine> diffLines(std::string_view before, std::string_view after,
                                std::size_t maximumEdits = 1000);

}  // namespace wordloom
