#include "core/transfer/ImportTransaction.h"

#include <unordered_map>

#include "core/library/SnippetImageStore.h"
#include "core/library/SnippetStore.h"
#include "core/transfer/ImportError.h"

namespace wordloom {

ImportTransaction::ImportTransaction(SnippetStore& store, SnippetImageStore& images)
    : store_(store), images_(images) {}

void ImportTransaction::apply(ImportPlan plan) {
    auto storeImage = [this](Snippet& snippet) {
        if (snippet.contentType != ContentType::image || !snippet.imageData) {
            return;
        }
        images_.write(snippet.id, *snippet.imageData);
        storedImages_.push_back(snippet.id);
        snippet.imageFileName = SnippetImageStore::fileName(snippet.id);
        snippet.imageData.reset();
    };
    try {
        for (auto& snippet : plan.added) {
            storeImage(snippet);
        }
        // A replaced image snippet keeps its new picture in its record (the store's fallback)
        // so that the side file of the state it replaces stays for a roll-back.
    } catch (const std::exception& error) {
        for (const auto& id : storedImages_) {
            try {
                images_.remove(id);
            } catch (const std::exception&) {
            }
        }
        storedImages_.clear();
        throw ImportError(std::string("Couldn't store an imported picture, so nothing was "
                                      "imported: ") +
                          error.what());
    }

    previousSnippets_ = store_.snippets();
    previousGroups_ = store_.groups();
    for (const auto& replacement : plan.replaced) {
        store_.keepAsVersion(replacement.before, "Before import");
    }
    std::unordered_map<Uuid, Snippet*> replacements;
    for (auto& replacement : plan.replaced) {
        replacements.emplace(replacement.after.id, &replacement.after);
    }
    auto snippets = previousSnippets_;
    snippets.reserve(snippets.size() + plan.added.size());
    for (auto& snippet : snippets) {
        if (const auto it = replacements.find(snippet.id); it != replacements.end()) {
            snippet = std::move(*it->second);
        }
    }
    for (auto& snippet : plan.added) {
        snippets.push_back(std::move(snippet));
    }
    auto groups = previousGroups_;
    for (auto& group : plan.addedGroups) {
        groups.push_back(std::move(group));
    }
    store_.replaceAll(std::move(snippets), std::move(groups));
    applied_ = true;
}

void ImportTransaction::rollBack() {
    if (applied_) {
        store_.replaceAll(previousSnippets_, previousGroups_);
        applied_ = false;
    }
    for (const auto& id : storedImages_) {
        try {
            images_.remove(id);
        } catch (const std::exception&) {
        }
    }
    storedImages_.clear();
}

}  // namespace wordloom
