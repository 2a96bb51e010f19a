#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Base64.h"
#include "core/library/Snippet.h"
#include "core/library/SnippetGroup.h"
#include "core/transfer/ExportFormat.h"

namespace wordloom {

/// Writes the library to a file in one of the export formats. What a format cannot carry is
/// reported as warnings, and the export goes on; only a failure to encode or to write throws.
class ExportService {
  public:
    /// The bytes of an image snippet's picture, or nothing when its file is gone.
    using ImageLoader = std::function<std::optional<Bytes>(const Snippet&)>;

    ExportService(ImageLoader loadImage, std::function<Timestamp()> now);

    /// The file's bytes and the warnings, without writing anything.
    struct Rendered {
        std::string bytes;
        std::vector<std::string> warnings;
    };
    Rendered render(const std::vector<Snippet>& snippets, const std::vector<SnippetGroup>& groups,
                    ExportFormat format) const;

    /// Writes the export to `destination` atomically (a temporary file renamed over it) and
    /// returns the warnings. Throws ExportError.
    std::vector<std::string> exportLibrary(const std::vector<Snippet>& snippets,
                                           const std::vector<SnippetGroup>& groups,
                                           ExportFormat format,
                                           const std::filesystem::path& destination) const;

    /// "Wordloom Export 2026-11-25.json": the local date of `now`.
    static std::string defaultFileName(ExportFormat format, Timestamp now);

  private:
    Rendered renderJson(const std::vector<Snippet>& snippets,
                        const std::vector<SnippetGroup>& groups) const;

    ImageLoader loadImage_;
    std::function<Timestamp()> now_;
};

}  // namespace wordloom
