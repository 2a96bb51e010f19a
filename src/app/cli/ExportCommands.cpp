#include "app/cli/ExportCommands.h"

#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/JsonWriter.h"
#include "core/transfer/ExportError.h"
#include "core/transfer/ExportService.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

int exportCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse(
        {{"format", Kind::value}, {"output", Kind::value, "o"}, {"json", Kind::flag}});
    expectPositionals(arguments, 0);
    const auto formatName = arguments.value("format");
    if (!formatName) {
        throw UsageError("Say which format: --format json|csv|textexpander.");
    }
    const auto format = exportFormatNamed(*formatName);
    if (!format) {
        throw UsageError("Unknown format \u201c" + *formatName +
                         "\u201d: choose json, csv or textexpander.");
    }
    auto session = openLibrary(invocation, arguments);
    auto& images = session->images();
    auto& executor = session->executor();
    ExportService service(
        [&images](const Snippet& s) -> std::optional<Bytes> {
            try {
                return images.read(s.id);
            } catch (const std::exception&) {
                return std::nullopt;  // counted in the export's warning
            }
        },
        [&executor] { return executor.now(); });
    const std::filesystem::path file =
        arguments.value("output").value_or(ExportService::defaultFileName(*format, executor.now()));

    std::vector<Snippet> snippets;
    for (const auto& snippet : session->snippets().snippets()) {
        if (!snippet.isDeleted()) {
            snippets.push_back(snippet);
        }
    }
    std::vector<std::string> warnings;
    try {
        warnings = service.exportLibrary(snippets, session->snippets().groups(), *format, file);
    } catch (const ExportError& error) {
        throw CommandError(error.detail().empty()
                               ? std::string(error.what())
                               : std::string(error.what()) + " " + error.detail());
    }
    if (arguments.has("json")) {
        JsonWriter w;
        w.beginObject();
        w.field("file", file.string());
        w.field("format", std::string(fileExtension(*format)));
        w.field("snippets", static_cast<std::int64_t>(snippets.size()));
        w.key("warnings");
        w.beginArray();
        for (const auto& warning : warnings) {
            w.value(warning);
        }
        w.endArray();
        w.endObject();
        invocation.out() << w.take() << '\n';
        return 0;
    }
    for (const auto& warning : warnings) {
        invocation.err() << "warning: " << warning << '\n';
    }
    invocation.out() << "Exported " << snippets.size() << " snippets to " << file.string() << ".\n";
    return 0;
}

}  // namespace

void registerExportCommands(CommandRegistry& registry) {
    registry.add({"export", "wordloom export --format json|csv|textexpander [-o FILE] [--json]",
                  "Write the library to a file another program can read (default \"Wordloom "
                  "Export YYYY-MM-DD.EXT\"); what the format cannot hold is listed as warnings.",
                  exportCommand});
}

}  // namespace wordloom::cli
