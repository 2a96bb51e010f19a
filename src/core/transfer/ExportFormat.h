#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace wordloom {

/// The file formats the library can be exported to.
enum class ExportFormat { json, csv, textExpander };

inline constexpr std::array allExportFormats{ExportFormat::json, ExportFormat::csv,
                                             ExportFormat::textExpander};

/// "json", "csv", "textexpander".
std::string_view fileExtension(ExportFormat format);

/// The format named as the command line spells it ("json", "csv", "textexpander"), in any case.
std::optional<ExportFormat> exportFormatNamed(std::string_view name);

}  // namespace wordloom
