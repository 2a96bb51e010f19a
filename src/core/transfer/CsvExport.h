#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"

namespace wordloom {

/// One CSV cell. A leading "=", "+", "-" or "@" (after any white space) gets an apostrophe in
/// front of it so that a spreadsheet does not run the cell as a formula; then quotes are
/// doubled, and the cell is quoted when it holds a comma, a line feed or a quote.
std::string escapeCsvField(std::string_view field);

struct CsvExportResult {
    std::string text;
    std::vector<std::string> warnings;
};

/// The table "Abbreviation,Label,Content,Group,Enabled,Tags", one line per snippet in the order
/// given. Image snippets are left out, each with a warning, and counted in a last warning.
CsvExportResult renderCsvExport(const std::vector<Snippet>& snippets,
                                const std::vector<SnippetGroup>& groups);

}  // namespace wordloom
