#pragma once

#include <filesystem>
#include <mutex>
#include <vector>

#include "core/base/Base64.h"
#include "core/base/Uuid.h"

namespace wordloom {

/// The pictures of image snippets, one side file per snippet ("<UUID>.bin", the bytes as they
/// are) in the folder "snippet-images", so that snippets.json stays small. Safe to call from
/// any thread.
class SnippetImageStore {
  public:
    static constexpr std::string_view fileExtension = ".bin";

    explicit SnippetImageStore(std::filesystem::path folder);

    /// The side file of `snippetId`; creates the folder on first use (throws FileError when it
    /// cannot).
    std::filesystem::path imageURL(const Uuid& snippetId);

    /// The side file name stored in a snippet's `imageFileName`.
    static std::string fileName(const Uuid& snippetId);

    void write(const Uuid& snippetId, const Bytes& bytes);
    /// Throws FileError when the file is missing or unreadable.
    Bytes read(const Uuid& snippetId);
    /// A missing file is not an error.
    void remove(const Uuid& snippetId);

    /// Snippet ids that have a side file: ".bin" files named by a UUID; anything else in the
    /// folder is ignored.
    std::vector<Uuid> storedIds() const;

  private:
    void ensureFolder();

    std::filesystem::path folder_;
    mutable std::mutex accessLock_;
    std::mutex folderCreatedLock_;
    bool folderCreated_ = false;
};

}  // namespace wordloom
