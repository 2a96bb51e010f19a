#include "app/cli/ImportCommands.h"

#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/JsonWriter.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportPlan.h"
#include "core/transfer/ImportReader.h"
#include "core/transfer/ImportTransaction.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

std::string_view policyName(ConflictPolicy policy) {
    switch (policy) {
        case ConflictPolicy::skip:
            return "skip";
        case ConflictPolicy::rename:
            return "rename";
        case ConflictPolicy::replace:
            return "replace";
    }
    return "skip";
}

void writeJson(std::ostream& out, const ImportPlan& plan, bool dryRun) {
    JsonWriter w;
    w.beginObject();
    w.field("added", static_cast<std::int64_t>(plan.added.size()));
    w.key("conflicts");
    w.beginArray();
    for (const auto& conflict : plan.conflicts) {
        w.beginObject();
        w.field("abbreviation", conflict.abbreviation);
        if (conflict.existingId) {
            w.field("existingId", conflict.existingId->toString());
        }
        if (!conflict.renamedTo.empty()) {
            w.field("renamedTo", conflict.renamedTo);
        }
        w.field("resolution", std::string(policyName(conflict.resolution)));
        w.endObject();
    }
    w.endArray();
    w.field("dryRun", dryRun);
    w.field("format", std::string(importFormatName(plan.format)));
    w.field("groupsAdded", static_cast<std::int64_t>(plan.addedGroups.size()));
    w.field("invalid", static_cast<std::int64_t>(plan.invalidAbbreviations));
    w.field("replaced", static_cast<std::int64_t>(plan.replaced.size()));
    w.field("skipped", static_cast<std::int64_t>(plan.skippedConflicts));
    w.key("warnings");
    w.beginArray();
    for (const auto& warning : plan.warnings) {
        w.value(warning);
    }
    w.endArray();
    w.endObject();
    out << w.take() << '\n';
}

void writeSummary(const CommandInvocation& invocation, const ImportPlan& plan, bool dryRun) {
    auto& out = invocation.out();
    out << (dryRun ? "Would import from " : "Imported from ") << importFormatTitle(plan.format)
        << ": " << plan.added.size() << " added, " << plan.replaced.size() << " replaced, "
        << plan.skippedConflicts << " skipped (abbreviation already used), "
        << plan.addedGroups.size() << " new groups.\n";
    for (const auto& conflict : plan.conflicts) {
        out << "  " << conflict.abbreviation << ": already used";
        if (conflict.existingId) {
            out << " by " << conflict.existingId->toString();
        } else {
            out << " earlier in this import";
        }
        switch (conflict.resolution) {
            case ConflictPolicy::skip:
                out << ", skipped\n";
                break;
            case ConflictPolicy::rename:
                out << ", imported as " << conflict.renamedTo << "\n";
                break;
            case ConflictPolicy::replace:
                out << ", replaced\n";
                break;
        }
    }
    for (const auto& warning : plan.warnings) {
        invocation.err() << "warning: " << warning << '\n';
    }
    if (dryRun) {
        out << "Nothing was changed (--dry-run).\n";
    }
}

int importCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"format", Kind::value},
                                             {"dry-run", Kind::flag},
                                             {"json", Kind::flag},
                                             {"on-conflict", Kind::value},
                                             {"group", Kind::value}});
    expectPositionals(arguments, 1);
    const std::filesystem::path source = arguments.positionals()[0];
    std::optional<ImportFormat> format;
    if (const auto name = arguments.value("format")) {
        format = importFormatNamed(*name);
        if (!format) {
            throw UsageError("Unknown format \u201c" + *name +
                             "\u201d: choose wordloom, espanso, textexpander, alfred, raycast, "
                             "atext or typeit4me.");
        }
    }
    ImportOptions options;
    if (const auto policy = arguments.value("on-conflict")) {
        const auto parsed = conflictPolicyNamed(*policy);
        if (!parsed) {
            throw UsageError("Unknown --on-conflict \u201c" + *policy +
                             "\u201d: choose skip, rename or replace.");
        }
        options.onConflict = *parsed;
    }
    options.intoGroup = arguments.value("group");
    const bool dryRun = arguments.has("dry-run");

    auto session = openLibrary(invocation, arguments);
    const auto now = session->executor().now();
    ImportPlan plan;
    try {
        auto document = readImport(source, format, now);
        plan = planImport(session->snippets().snippets(), session->snippets().groups(),
                          std::move(document), options, now);
    } catch (const ImportError& error) {
        throw CommandError(error.what());
    }

    if (!dryRun && !plan.changesNothing()) {
        session->requireWritableLibrary();
        ImportTransaction transaction(session->snippets(), session->images());
        try {
            transaction.apply(plan);
        } catch (const ImportError& error) {
            throw CommandError(error.what());
        }
        try {
            session->save();
        } catch (const CommandError& error) {
            transaction.rollBack();
            try {
                session->save();
            } catch (const CommandError&) {
                // The files were written atomically; what failed to write is still as before.
            }
            throw CommandError(std::string(error.what()) + " Nothing was imported.");
        }
    }
    if (arguments.has("json")) {
        writeJson(invocation.out(), plan, dryRun);
    } else {
        writeSummary(invocation, plan, dryRun);
    }
    return 0;
}

}  // namespace

void registerImportCommands(CommandRegistry& registry) {
    registry.add({"import",
                  "wordloom import FILE|FOLDER [--format F] [--dry-run] [--json] "
                  "[--on-conflict skip|rename|replace] [--group NAME]",
                  "Bring in snippets from espanso, TextExpander, Alfred, Raycast, aText, "
                  "TypeIt4Me or a Wordloom export, all or nothing; the format is read from the "
                  "content.",
                  importCommand});
}

}  // namespace wordloom::cli
