#include "core/triggers/LibraryLinkLookup.h"

#include "core/library/SettingsStore.h"
#include "core/library/SnippetStore.h"
#include "core/macros/InlineParameterParser.h"
#include "core/macros/MacroEvaluator.h"

namespace wordloom {

bool enabledWithGroups(const SnippetStore& store, const Snippet& snippet) {
    if (!snippet.isEnabled) {
        return false;
    }
    auto group = snippet.groupId;
    // The depth bound keeps a damaged file with a cycle of parents from looping.
    for (int depth = 0; group && depth < 64; ++depth) {
        const auto* found = store.group(*group);
        if (!found) {
            break;
        }
        if (!found->isEnabled) {
            return false;
        }
        group = found->parentId;
    }
    return true;
}

void readLibraryForLinks(URLSchemeHandler::Actions& actions, const SnippetStore& snippets,
                         const SettingsStore& settings) {
    actions.isURLExpansionAllowed = [&settings] {
        return settings.settings().allowURLSchemeExpansion;
    };
    actions.findActive = [&snippets](std::string_view abbreviation) {
        return snippets.snippetsWithAbbreviation(abbreviation);
    };
    actions.findById = [&snippets](const Uuid& id) { return snippets.snippet(id); };
    actions.isEnabled = [&snippets](const Snippet& snippet) {
        return enabledWithGroups(snippets, snippet);
    };
    actions.evaluate = [&snippets](const Snippet& snippet,
                                   const std::vector<std::string>& arguments) {
        EvaluationContext context;
        context.findSnippet = [&snippets](const std::string& abbreviation) {
            const auto found = snippets.snippetsWithAbbreviation(abbreviation);
            return found.empty() ? std::nullopt : std::optional<Snippet>(*found.front());
        };
        context.visitedAbbreviations.insert(snippet.abbreviation);
        context.fillInValues = InlineParameterParser::bind(
            InlineParameterParser::fillableFields(snippet.content), arguments);
        return MacroEvaluator().evaluate(snippet.content, context).expandedContent;
    };
}

}  // namespace wordloom
