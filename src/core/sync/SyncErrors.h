#pragma once

#include <stdexcept>
#include <string>

namespace wordloom {

/// A record the sync service could not turn into a library record, or a fetch it cannot use.
class SyncRecordError : public std::runtime_error {
  public:
    enum class Kind { couldNotDecode, unknownType, missingChangeToken };

    static SyncRecordError couldNotDecode(const std::string& recordType,
                                          const std::string& recordName, const std::string& reason);
    static SyncRecordError unknownType(const std::string& recordType,
                                       const std::string& recordName);
    static SyncRecordError missingChangeToken();

    Kind kind() const { return kind_; }

  private:
    SyncRecordError(Kind kind, const std::string& message)
        : std::runtime_error(message), kind_(kind) {}
    Kind kind_;
};

/// A snippet image that could not travel with its record.
class SyncImageAssetError : public std::runtime_error {
  public:
    enum class Kind { missingLocalBytes, temporaryWriteFailed, downloadedAssetUnreadable };

    static SyncImageAssetError missingLocalBytes(const std::string& snippetId);
    static SyncImageAssetError temporaryWriteFailed(const std::string& snippetId,
                                                    const std::string& reason);
    static SyncImageAssetError downloadedAssetUnreadable(const std::string& snippetId);

    Kind kind() const { return kind_; }

  private:
    SyncImageAssetError(Kind kind, const std::string& message)
        : std::runtime_error(message), kind_(kind) {}
    Kind kind_;
};

}  // namespace wordloom
