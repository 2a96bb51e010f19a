#pragma once

#include <cstdint>
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

/// The largest files read whole. Each is far above anything a real library reaches (10,000
/// snippets of ordinary size make a snippets.json of a few megabytes), and low enough that a
/// wrong or hostile file is refused before it is pulled into memory.
namespace fileSizeLimit {
/// snippets.json, groups.json, settings.json, versions.json, defaults.json, journals.
inline constexpr std::uint64_t libraryFile = std::uint64_t{512} << 20;
/// Backups and imported libraries, which carry their images inline.
inline constexpr std::uint64_t document = std::uint64_t{1} << 30;
/// One snippet's worth: an image side file, an image or content file named on the command line.
inline constexpr std::uint64_t snippetPart = std::uint64_t{64} << 20;
}  // namespace fileSizeLimit

/// Replaces `path` with `bytes` so that a reader, or the next start after a crash, sees either
/// the old file or the new one, never a mix: write a temporary file beside it, fsync, rename
/// over, fsync the folder. The file is readable and writable by its owner only (0600), whatever
/// the umask and whatever the mode of the file it replaces. Throws FileError.
void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

/// The whole file. Throws FileError when it cannot be read or is larger than `limit` bytes (the
/// size is checked before anything is read).
std::string readFile(const std::filesystem::path& path,
                     std::uint64_t limit = fileSizeLimit::document);

/// The whole file, or nothing when it does not exist. Throws FileError for other failures,
/// among them a file larger than `limit` bytes.
std::optional<std::string> readFileIfExists(const std::filesystem::path& path,
                                            std::uint64_t limit = fileSizeLimit::document);

/// Throws FileError when the file at `path` is larger than `limit` bytes, for code that reads a
/// file its own way. A missing file passes (its reader reports it).
void requireFileSizeAtMost(const std::filesystem::path& path, std::uint64_t limit);

/// The message for a file of `size` bytes refused because of `limit`.
std::string fileTooLargeMessage(const std::filesystem::path& path, std::uint64_t size,
                                std::uint64_t limit);

/// Creates `folder` (and missing parents) so that only its owner may enter it (0700), and
/// tightens an existing one of ours to 0700. Throws FileError when it cannot be created, when
/// it is not a folder (a symbolic link is not accepted), or when another user owns it.
void ensurePrivateFolder(const std::filesystem::path& folder);

/// Takes every permission of group and others away from the file or folder at `path` when it
/// is ours (a folder's contents are left alone; a symbolic link is neither followed nor
/// changed). For files written by an earlier version, or copied in with a loose umask. Returns
/// whether it changed anything; a failure is logged.
bool removeGroupAndOtherAccess(const std::filesystem::path& path);

/// The path of one of Wordloom's helper programs: beside the running program (the build tree),
/// else in ../libexec/wordloom/ (an installed copy), else just `name`.
std::string helperProgramPath(const std::string& name);

/// Whether `name` is one of the temporary files writeFileAtomically() leaves behind when the
/// process dies mid-write.
bool isAtomicWriteLeftover(std::string_view name);

}  // namespace wordloom
