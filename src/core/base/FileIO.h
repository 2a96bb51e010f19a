#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace wordloom {

/// A file operation that failed; the message names the file and the reason.
class FileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Replaces `path` with `bytes` so that a reader, or the next start after a crash, sees either
/// the old file or the new one, never a mix: write a temporary file beside it, fsync, rename
/// over, fsync the folder. Throws FileError.
void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

/// The whole file. Throws FileError when it cannot be read.
std::string readFile(const std::filesystem::path& path);

/// The whole file, or nothing when it does not exist. Throws FileError for other failures.
std::optional<std::string> readFileIfExists(const std::filesystem::path& path);

/// Whether `name` is one of the temporary files writeFileAtomically() leaves behind when the
/// process dies mid-write.
bool isAtomicWriteLeftover(std::string_view name);

}  // namespace wordloom
