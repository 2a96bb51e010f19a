#pragma once

#include <stdexcept>
#include <string>

namespace wordloom {

/// A backup that cannot be restored as it stands; nothing on disk was changed.
class BackupError : public std::runtime_error {
  public:
    enum class Kind { missingImageData };

    static BackupError missingImageData(const std::string& label) {
        return BackupError(Kind::missingImageData, "Backup could not read image data for snippet " +
                                                       label +
                                                       ". The existing library was not changed.");
    }

    Kind kind() const { return kind_; }

  private:
    BackupError(Kind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
    Kind kind_;
};

/// A restore that failed while files were being replaced. `domain()` tells a failed rollback
/// ("Wordloom.PersistenceService.BackupRestore") apart from the original failure.
class BackupRestoreError : public std::runtime_error {
  public:
    static constexpr const char* rollbackDomain = "Wordloom.PersistenceService.BackupRestore";

    BackupRestoreError(std::string domain, const std::string& message)
        : std::runtime_error(message), domain_(std::move(domain)) {}

    const std::string& domain() const { return domain_; }

  private:
    std::string domain_;
};

}  // namespace wordloom
