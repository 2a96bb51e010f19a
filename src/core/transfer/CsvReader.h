#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace wordloom {

/// Splits CSV text into rows of fields: quoted fields may hold commas, doubled quotes and line
/// breaks; lines end in LF or CRLF; a byte-order mark at the start is skipped. A quote left open
/// at the end takes the rest of the text. Throws ImportError past `maxRows` rows.
std::vector<std::vector<std::string>> readCsv(std::string_view text, std::size_t maxRows);

}  // namespace wordloom
