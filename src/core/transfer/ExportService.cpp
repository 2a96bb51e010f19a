#include "core/transfer/ExportService.h"

#include <ctime>
#include <exception>

#include "core/base/FileIO.h"
#include "core/transfer/CsvExport.h"
#include "core/transfer/ExportError.h"
#include "core/transfer/TextExpanderDocument.h"
#include "core/transfer/WordloomExport.h"

namespace wordloom {

ExportService::ExportService(ImageLoader loadImage, std::function<Timestamp()> now)
    : loadImage_(std::move(loadImage)), now_(std::move(now)) {}

ExportService::Rendered ExportService::renderJson(const std::vector<Snippet>& snippets,
                                                  const std::vector<SnippetGroup>& groups) const {
    WordloomExport document;
    document.exportDate = now_();
    document.groups = groups;
    document.snippets.reserve(snippets.size());
    std::size_t withoutBytes = 0;
    for (const auto& snippet : snippets) {
        auto copy = snippet;
        if (copy.contentType == ContentType::image && !copy.imageData) {
            copy.imageData = loadImage_ ? loadImage_(copy) : std::nullopt;
            if (!copy.imageData) {
                ++withoutBytes;
            }
        }
        // The bytes travel inline; a side-file name would mean nothing on another machine.
        if (copy.imageData) {
            copy.imageFileName.reset();
        }
        document.snippets.push_back(std::move(copy));
    }
    Rendered rendered;
    rendered.bytes = encodeWordloomExport(document);
    if (withoutBytes > 0) {
        rendered.warnings.push_back(
            std::to_string(withoutBytes) +
            " image snippets exported without bytes \u2014 sidecar files missing from disk. "
            "Re-importing this backup will produce empty image snippets.");
    }
    return rendered;
}

ExportService::Rendered ExportService::render(const std::vector<Snippet>& snippets,
                                              const std::vector<SnippetGroup>& groups,
                                              ExportFormat format) const {
    try {
        switch (format) {
            case ExportFormat::json:
                return renderJson(snippets, groups);
            case ExportFormat::csv: {
                auto csv = renderCsvExport(snippets, groups);
                return {std::move(csv.text), std::move(csv.warnings)};
            }
            case ExportFormat::textExpander: {
                auto document = renderTextExpanderExport(snippets, groups);
                return {std::move(document.text), std::move(document.warnings)};
            }
        }
    } catch (const std::exception& error) {
        throw ExportError(ExportError::Kind::encodingFailed, error.what());
    }
    throw ExportError(ExportError::Kind::encodingFailed);
}

std::vector<std::string> ExportService::exportLibrary(
    const std::vector<Snippet>& snippets, const std::vector<SnippetGroup>& groups,
    ExportFormat format, const std::filesystem::path& destination) const {
    auto rendered = render(snippets, groups, format);
    try {
        writeFileAtomically(destination, rendered.bytes);
    } catch (const std::exception& error) {
        throw ExportError(ExportError::Kind::writeFailed, error.what());
    }
    return std::move(rendered.warnings);
}

std::string ExportService::defaultFileName(ExportFormat format, Timestamp now) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&seconds, &local);
    char date[16];
    std::strftime(date, sizeof date, "%Y-%m-%d", &local);
    return "Wordloom Export " + std::string(date) + "." + std::string(fileExtension(format));
}

}  // namespace wordloom
