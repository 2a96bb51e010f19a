#include "core/transfer/ImportPlan.h"

#include <functional>
#include <unordered_map>
#include <unordered_set>

#include "core/base/Text.h"

namespace wordloom {

std::optional<ConflictPolicy> conflictPolicyNamed(std::string_view name) {
    if (name == "skip") {
        return ConflictPolicy::skip;
    }
    if (name == "rename") {
        return ConflictPolicy::rename;
    }
    if (name == "replace") {
        return ConflictPolicy::replace;
    }
    return std::nullopt;
}

namespace {

// At most this many invalid abbreviations are named one by one in the warning.
constexpr std::size_t kNamedInvalidAbbreviations = 10;

class GroupMerger {
  public:
    GroupMerger(const std::vector<SnippetGroup>& existing, ImportPlan& plan, Timestamp now)
        : existing_(existing), plan_(plan), now_(now) {
        for (const auto& group : existing) {
            usedIds_.insert(group.id);
        }
    }

    // The group named `reference` (its id or its name), made at the top level when missing.
    Uuid target(const std::string& reference) {
        if (const auto id = Uuid::parse(reference)) {
            for (const auto& group : existing_) {
                if (group.id == *id) {
                    return group.id;
                }
            }
        }
        return findOrAdd(reference, std::nullopt, std::nullopt);
    }

    void mapDocumentGroups(const std::vector<SnippetGroup>& groups, std::optional<Uuid> under) {
        std::unordered_map<Uuid, const SnippetGroup*> byId;
        for (const auto& group : groups) {
            byId.emplace(group.id, &group);
        }
        std::unordered_set<Uuid> inProgress;
        std::function<Uuid(const SnippetGroup&)> resolve = [&](const SnippetGroup& group) {
            if (const auto it = mapped_.find(group.id); it != mapped_.end()) {
                return it->second;
            }
            std::optional<Uuid> parent = under;
            inProgress.insert(group.id);
            if (group.parentId) {
                const auto it = byId.find(*group.parentId);
                // A parent chain that loops puts the group at the top of the import.
                if (it != byId.end() && !inProgress.contains(*group.parentId)) {
                    parent = resolve(*it->second);
                }
            }
            inProgress.erase(group.id);
            const auto id = findOrAdd(group.name, parent, group);
            mapped_[group.id] = id;
            return id;
        };
        for (const auto& group : groups) {
            resolve(group);
        }
    }

    std::optional<Uuid> mapped(const std::optional<Uuid>& documentGroup) const {
        if (!documentGroup) {
            return std::nullopt;
        }
        const auto it = mapped_.find(*documentGroup);
        return it == mapped_.end() ? std::nullopt : std::optional(it->second);
    }

  private:
    Uuid findOrAdd(const std::string& name, const std::optional<Uuid>& parent,
                   const std::optional<SnippetGroup>& source) {
        for (const auto& group : existing_) {
            if (group.name == name && group.parentId == parent) {
                return group.id;
            }
        }
        for (const auto& group : plan_.addedGroups) {
            if (group.name == name && group.parentId == parent) {
                return group.id;
            }
        }
        SnippetGroup group = source.value_or(SnippetGroup{});
        if (!source || usedIds_.contains(group.id) || group.id.isNil()) {
            group.id = Uuid::random();
        }
        if (!source) {
            group.createdAt = group.modifiedAt = now_;
        }
        group.name = name;
        group.parentId = parent;
        usedIds_.insert(group.id);
        plan_.addedGroups.push_back(group);
        return group.id;
    }

    const std::vector<SnippetGroup>& existing_;
    ImportPlan& plan_;
    Timestamp now_;
    std::unordered_set<Uuid> usedIds_;
    std::unordered_map<Uuid, Uuid> mapped_;
};

std::string invalidName(const Snippet& snippet) {
    auto name = text::debugQuoted(snippet.abbreviation);
    if (!text::trimWhitespaceAndNewlines(snippet.label).empty()) {
        name += " (" + snippet.label + ")";
    }
    return name;
}

}  // namespace

ImportPlan planImport(const std::vector<Snippet>& snippets, const std::vector<SnippetGroup>& groups,
                      ImportDocument document, const ImportOptions& options, Timestamp now) {
    ImportPlan plan;
    plan.format = document.format;
    plan.warnings = document.notes.sentences();

    GroupMerger merger(groups, plan, now);
    std::optional<Uuid> target;
    if (options.intoGroup) {
        target = merger.target(*options.intoGroup);
    }
    merger.mapDocumentGroups(document.groups, target);

    std::unordered_set<Uuid> usedIds;
    std::unordered_map<std::string, std::size_t> libraryIndex;  // abbreviation -> snippets[i]
    for (std::size_t i = 0; i < snippets.size(); ++i) {
        usedIds.insert(snippets[i].id);
        if (!snippets[i].isDeleted()) {
            libraryIndex.emplace(snippets[i].abbreviation, i);
        }
    }
    std::unordered_map<std::string, std::size_t> addedIndex;  // abbreviation -> added[i]
    std::unordered_map<Uuid, std::size_t> replacedIndex;      // library id -> replaced[i]
    auto isTaken = [&](const std::string& abbreviation) {
        return libraryIndex.contains(abbreviation) || addedIndex.contains(abbreviation);
    };

    std::vector<std::string> invalid;
    for (auto& snippet : document.snippets) {
        if (!isValidAbbreviation(snippet.abbreviation)) {
            ++plan.invalidAbbreviations;
            if (invalid.size() < kNamedInvalidAbbreviations) {
                invalid.push_back(invalidName(snippet));
            }
            continue;
        }
        const auto documentGroup = snippet.groupId;
        snippet.groupId = merger.mapped(documentGroup);
        if (!snippet.groupId) {
            snippet.groupId = target;
        }
        snippet.deletedAt.reset();

        const auto inLibrary = libraryIndex.find(snippet.abbreviation);
        const auto inImport = addedIndex.find(snippet.abbreviation);
        if (inLibrary == libraryIndex.end() && inImport == addedIndex.end()) {
            if (usedIds.contains(snippet.id) || snippet.id.isNil()) {
                snippet.id = Uuid::random();
            }
            usedIds.insert(snippet.id);
            addedIndex.emplace(snippet.abbreviation, plan.added.size());
            plan.added.push_back(std::move(snippet));
            continue;
        }

        ImportConflict conflict;
        conflict.abbreviation = snippet.abbreviation;
        conflict.resolution = options.onConflict;
        if (inLibrary != libraryIndex.end()) {
            conflict.existingId = snippets[inLibrary->second].id;
        }
        switch (options.onConflict) {
            case ConflictPolicy::skip:
                ++plan.skippedConflicts;
                break;
            case ConflictPolicy::rename: {
                std::string renamed;
                for (int n = 2;; ++n) {
                    renamed = snippet.abbreviation + std::to_string(n);
                    if (!isTaken(renamed)) {
                        break;
                    }
                }
                conflict.renamedTo = renamed;
                snippet.abbreviation = renamed;
                if (usedIds.contains(snippet.id) || snippet.id.isNil()) {
                    snippet.id = Uuid::random();
                }
                usedIds.insert(snippet.id);
                addedIndex.emplace(snippet.abbreviation, plan.added.size());
                plan.added.push_back(std::move(snippet));
                break;
            }
            case ConflictPolicy::replace:
                if (inImport != addedIndex.end()) {
                    // A later snippet of the same import wins over an earlier one.
                    auto& earlier = plan.added[inImport->second];
                    snippet.id = earlier.id;
                    earlier = std::move(snippet);
                    break;
                }
                {
                    const auto& before = snippets[inLibrary->second];
                    Snippet after = std::move(snippet);
                    after.id = before.id;
                    after.createdAt = before.createdAt;
                    after.useCount = before.useCount;
                    after.lastUsedAt = before.lastUsedAt;
                    after.hotkey = after.hotkey ? after.hotkey : before.hotkey;
                    after.modifiedAt = now;
                    if (const auto it = replacedIndex.find(before.id); it != replacedIndex.end()) {
                        plan.replaced[it->second].after = std::move(after);
                    } else {
                        replacedIndex.emplace(before.id, plan.replaced.size());
                        plan.replaced.push_back({before, std::move(after)});
                    }
                }
                break;
        }
        plan.conflicts.push_back(std::move(conflict));
    }

    if (plan.invalidAbbreviations > 0) {
        std::string names;
        for (const auto& name : invalid) {
            names += (names.empty() ? "" : ", ") + name;
        }
        if (plan.invalidAbbreviations > invalid.size()) {
            names += " and " + std::to_string(plan.invalidAbbreviations - invalid.size()) + " more";
        }
        plan.warnings.push_back("Skipped " + std::to_string(plan.invalidAbbreviations) +
                                " snippets whose abbreviation is empty or holds a control "
                                "character: " +
                                names + ".");
    }
    return plan;
}

}  // namespace wordloom
