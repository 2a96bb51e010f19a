#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/EnumCoding.h"
#include "core/library/Snippet.h"

namespace wordloom {

enum class ConflictResolutionStrategy { localWins, remoteWins, mostRecent, merge };
enum class ConflictType { bothModified, localDeletedRemoteModified, localModifiedRemoteDeleted };

template <>
struct EnumNames<ConflictResolutionStrategy> {
    static constexpr std::array names{"localWins", "remoteWins", "mostRecent", "merge"};
};
template <>
struct EnumNames<ConflictType> {
    static constexpr std::array names{"bothModified", "localDeletedRemoteModified",
                                      "localModifiedRemoteDeleted"};
};

/// A snippet changed here and on the server since they last agreed. A side that was deleted
/// has no snippet.
struct SyncConflict {
    Uuid snippetId;
    std::optional<Snippet> localSnippet;
    std::optional<Snippet> remoteSnippet;
    ConflictType conflictType = ConflictType::bothModified;

    bool operator==(const SyncConflict&) const = default;
};

/// What a strategy makes of a conflict.
struct ConflictDecision {
    enum class Outcome {
        /// The local side stands and is uploaded over the server's copy.
        keepLocal,
        /// The server's side is applied here.
        takeRemote,
        /// `merged` is applied here and uploaded.
        useMerged,
        /// The strategy cannot settle it: the user chooses.
        askUser,
    };
    Outcome outcome = Outcome::askUser;
    std::optional<Snippet> merged;
};

/// Settles a conflict by `strategy`:
/// - localWins and remoteWins: that side, always.
/// - mostRecent: the side modified last (the server's on a tie, so that every copy agrees).
/// - merge: when both sides have the same content, the fields of the side modified last with
///   the tags of both and the higher use count; when the content differs, the user chooses.
/// An edit is never lost to a deletion except by localWins for a local deletion: otherwise the
/// edited side stands.
ConflictDecision decideConflict(const SyncConflict& conflict, ConflictResolutionStrategy strategy);

/// The conflicts as "icloud-sync-conflicts.json" and `wordloom sync conflicts --json` hold
/// them: a list of {"conflictType", "localSnippet", "remoteSnippet", "snippetId"}, the snippets
/// as snippets.json writes them.
std::string encodeSyncConflicts(const std::vector<SyncConflict>& conflicts);

}  // namespace wordloom
