#include "core/transfer/ExportFormat.h"

#include "core/base/Text.h"

namespace wordloom {

std::string_view fileExtension(ExportFormat format) {
    switch (format) {
        case ExportFormat::json:
            return "json";
        case ExportFormat::csv:
            return "csv";
        case ExportFormat::textExpander:
            return "textexpander";
    }
    return "json";
}

std::optional<ExportFormat> exportFormatNamed(std::string_view name) {
    const auto lower = text::lowercased(name);
    for (const auto format : allExportFormats) {
        if (lower == fileExtension(format)) {
            return format;
        }
    }
    return std::nullopt;
}

}  // namespace wordloom
