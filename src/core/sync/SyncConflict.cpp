#include "core/sync/SyncConflict.h"

#include <algorithm>

#include "core/library/LibraryCoding.h"

namespace wordloom {
namespace {

using Outcome = ConflictDecision::Outcome;

bool sameContent(const Snippet& a, const Snippet& b) {
    return a.content == b.content && a.contentType == b.contentType &&
           a.richTextData == b.richTextData && a.imageFileName == b.imageFileName &&
           a.codeLanguage == b.codeLanguage;
}

Snippet merge(const Snippet& local, const Snippet& remote) {
    const bool localIsNewer = local.modifiedAt > remote.modifiedAt;
    Snippet merged = localIsNewer ? local : remote;
    const auto& other = localIsNewer ? remote : local;
    for (const auto& tag : other.tags) {
        if (std::find(merged.tags.begin(), merged.tags.end(), tag) == merged.tags.end()) {
            merged.tags.push_back(tag);
        }
    }
    merged.useCount = std::max(local.useCount, remote.useCount);
    if (other.lastUsedAt && (!merged.lastUsedAt || *other.lastUsedAt > *merged.lastUsedAt)) {
        merged.lastUsedAt = other.lastUsedAt;
    }
    return merged;
}

}  // namespace

ConflictDecision decideConflict(const SyncConflict& conflict, ConflictResolutionStrategy strategy) {
    switch (conflict.conflictType) {
        case ConflictType::localDeletedRemoteModified:
            return {strategy == ConflictResolutionStrategy::localWins ? Outcome::keepLocal
                                                                      : Outcome::takeRemote};
        case ConflictType::localModifiedRemoteDeleted:
            return {strategy == ConflictResolutionStrategy::remoteWins ? Outcome::takeRemote
                                                                       : Outcome::keepLocal};
        case ConflictType::bothModified:
            break;
    }
    if (!conflict.localSnippet || !conflict.remoteSnippet) {
        return {Outcome::askUser};
    }
    const auto& local = *conflict.localSnippet;
    const auto& remote = *conflict.remoteSnippet;
    switch (strategy) {
        case ConflictResolutionStrategy::localWins:
            return {Outcome::keepLocal};
        case ConflictResolutionStrategy::remoteWins:
            return {Outcome::takeRemote};
        case ConflictResolutionStrategy::mostRecent:
            return {local.modifiedAt > remote.modifiedAt ? Outcome::keepLocal
                                                         : Outcome::takeRemote};
        case ConflictResolutionStrategy::merge:
            if (!sameContent(local, remote)) {
                return {Outcome::askUser};
            }
            return {Outcome::useMerged, merge(local, remote)};
    }
    return {Outcome::askUser};
}

std::string encodeSyncConflicts(const std::vector<SyncConflict>& conflicts) {
    JsonWriter w;
    w.beginArray();
    for (const auto& conflict : conflicts) {
        w.beginObject();
        w.field("conflictType", rawValue(conflict.conflictType));
        if (conflict.localSnippet) {
            w.key("localSnippet");
            encodeSnippet(w, *conflict.localSnippet);
        }
        if (conflict.remoteSnippet) {
            w.key("remoteSnippet");
            encodeSnippet(w, *conflict.remoteSnippet);
        }
        w.field("snippetId", conflict.snippetId.toString());
        w.endObject();
    }
    w.endArray();
    return w.take();
}

}  // namespace wordloom
