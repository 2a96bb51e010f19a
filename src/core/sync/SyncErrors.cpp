#include "core/sync/SyncErrors.h"

namespace wordloom {

SyncRecordError SyncRecordError::couldNotDecode(const std::string& recordType,
                                                const std::string& recordName,
                                                const std::string& reason) {
    return {Kind::couldNotDecode,
            "Could not decode CloudKit " + recordType + " record " + recordName + ": " + reason};
}

SyncRecordError SyncRecordError::unknownType(const std::string& recordType,
                                             const std::string& recordName) {
    return {Kind::unknownType,
            "Unknown CloudKit record type " + recordType + " (recordName: " + recordName + ")"};
}

SyncRecordError SyncRecordError::missingChangeToken() {
    return {Kind::missingChangeToken,
            "CloudKit completed a zone fetch without a server change token."};
}

SyncImageAssetError SyncImageAssetError::missingLocalBytes(const std::string& snippetId) {
    return {Kind::missingLocalBytes,
            "Image bytes are missing for snippet " + snippetId + "; CloudKit upload was deferred."};
}

SyncImageAssetError SyncImageAssetError::temporaryWriteFailed(const std::string& snippetId,
                                                              const std::string& reason) {
    return {Kind::temporaryWriteFailed,
            "Could not stage image for snippet " + snippetId + ": " + reason};
}

SyncImageAssetError SyncImageAssetError::downloadedAssetUnreadable(const std::string& snippetId) {
    return {Kind::downloadedAssetUnreadable,
            "Could not read CloudKit image bytes for " + snippetId};
}

}  // namespace wordloom
