// Import and export of libraries of 10,000 snippets: an espanso configuration folder of ten
// match files (dates, the clipboard, forms, echo variables, a regex trigger, several triggers
// per match) read and planned into a library of 2,000 snippets, and a 10,000-snippet library
// rendered to each export format. Target on a 2-core machine: under 1 s each.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>

#include "core/base/Uuid.h"
#include "core/transfer/EspansoImporter.h"
#include "core/transfer/ExportService.h"
#include "core/transfer/ImportPlan.h"

namespace {

using namespace wordloom;
namespace fs = std::filesystem;

constexpr std::size_t kSnippets = 10'000;
constexpr std::size_t kFiles = 10;

fs::path makeEspansoFolder() {
    const auto root =
        fs::temp_directory_path() / ("wordloom-bench-espanso-" + Uuid::random().toString());
    fs::create_directories(root / "match");
    fs::create_directories(root / "config");
    std::ofstream(root / "config" / "default.yml") << "toggle_key: ALT\n";
    const std::size_t perFile = kSnippets / kFiles;
    for (std::size_t f = 0; f < kFiles; ++f) {
        std::ofstream out(root / "match" / ("set" + std::to_string(f) + ".yml"));
        out << "global_vars:\n  - { name: me, type: echo, params: { echo: \"Rosa Ibarra\" } }\n"
               "matches:\n";
        for (std::size_t i = 0; i < perFile; ++i) {
            const auto n = std::to_string(f * perFile + i);
            switch (i % 5) {
                case 0:
                    out << "  - trigger: \";d" << n
                        << "\"\n    replace: \"Due {{d}} -- {{me}}$|$\"\n"
                        << "    vars: [{ name: d, type: date, params: { format: \"%Y-%m-%d\", "
                           "offset: 86400 } }]\n";
                    break;
                case 1:
                    out << "  - trigger: \";c" << n << "\"\n    replace: \"Pasted: {{c}}\"\n"
                        << "    word: true\n    vars: [{ name: c, type: clipboard }]\n";
                    break;
                case 2:
                    out << "  - trigger: \";f" << n
                        << "\"\n    form: \"Hi [[who]], it is [[state]].\"\n"
                        << "    form_fields: { state: { type: choice, values: [open, closed] } }\n";
                    break;
                case 3:
                    out << "  - regex: \";r" << n << "(?P<x>\\\\d+)/\"\n    replace: \"n={{x}}\"\n";
                    break;
                default:
                    out << "  - label: Address " << n
                        << "\n    replace: \"12 Quay Lane\\nPortwick, "
                        << "thank you for the note about the release and the plan.\"\n"
                        << "    propagate_case: true\n    search_terms: [address, home]\n"
                        << "    trigger: \";a" << n << "\"\n";
            }
        }
    }
    return root;
}

std::vector<Snippet> makeLibrary(std::size_t count, std::vector<SnippetGroup>& groups) {
    for (int g = 0; g < 20; ++g) {
        SnippetGroup group;
        group.id = Uuid::random();
        group.name = "Group " + std::to_string(g);
        groups.push_back(group);
    }
    const std::string body =
        "Dear team, thanks for the update, see {{date:EEEE, MMMM d, yyyy}}. Paste: "
        "{{clipboard}}{{cursor}} then {{key:tab}} and \"quoted\" text, = fine.\n";
    std::vector<Snippet> snippets(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto& s = snippets[i];
        s.id = Uuid::random();
        s.abbreviation = ";lib" + std::to_string(i);
        s.label = "Library snippet " + std::to_string(i);
        while (s.content.size() < 400) {
            s.content += body;
        }
        s.tags = {"work", "mail"};
        s.groupId = groups[i % groups.size()].id;
    }
    return snippets;
}

void BM_EspansoFolderImport(benchmark::State& state) {
    const auto root = makeEspansoFolder();
    std::vector<SnippetGroup> groups;
    const auto library = makeLibrary(2'000, groups);
    const auto now = std::chrono::system_clock::now();
    for (auto _ : state) {
        auto document = EspansoImporter::importPath(root, now);
        auto plan = planImport(library, groups, std::move(document), {}, now);
        benchmark::DoNotOptimize(plan.added.data());
        if (plan.added.size() != kSnippets) {
            state.SkipWithError("not every snippet was planned");
        }
    }
    fs::remove_all(root);
}
BENCHMARK(BM_EspansoFolderImport)->Unit(benchmark::kMillisecond);

void BM_Export(benchmark::State& state) {
    std::vector<SnippetGroup> groups;
    const auto library = makeLibrary(kSnippets, groups);
    ExportService service(nullptr, [] { return std::chrono::system_clock::now(); });
    const auto format = static_cast<ExportFormat>(state.range(0));
    const auto file =
        fs::temp_directory_path() / ("wordloom-bench-export-" + Uuid::random().toString());
    for (auto _ : state) {
        auto warnings = service.exportLibrary(library, groups, format, file);
        benchmark::DoNotOptimize(warnings.data());
    }
    state.SetLabel(std::string(fileExtension(format)));
    fs::remove(file);
}
BENCHMARK(BM_Export)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
