#include "core/base/FileIO.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

#include "core/base/Log.h"
#include "core/base/Uuid.h"

namespace wordloom {
namespace {

constexpr std::string_view kTemporarySuffix = ".wordloom-tmp";
constexpr mode_t kGroupAndOther = S_IRWXG | S_IRWXO;

const Logger& permissionLogger() {
    static const Logger logger("FileIO.permissions");
    return logger;
}

std::string megabytes(std::uint64_t bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f MB", static_cast<double>(bytes) / (1024.0 * 1024.0));
    return text;
}

std::string describe(const std::string& action, const std::filesystem::path& path, int error) {
    return action + " \u201c" + path.filename().string() + "\u201d: " + std::strerror(error);
}

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

  private:
    int fd_;
};

}  // namespace

bool isAtomicWriteLeftover(std::string_view name) {
    return name.size() > kTemporarySuffix.size() && name.front() == '.' &&
           name.ends_with(kTemporarySuffix);
}

void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
    const auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    const auto temporary = folder / ("." + path.filename().string() + "." +
                                     Uuid::random().toString() + std::string(kTemporarySuffix));

    // Everything we write holds the user's snippets or settings: private from the first byte.
    FileDescriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (file.get() < 0) {
        throw FileError(describe("Couldn't write", path, errno));
    }
    auto fail = [&](int error) {
        ::unlink(temporary.c_str());
        throw FileError(describe("Couldn't write", path, error));
    };
    // The mode given to open() passes through the umask; this does not.
    if (::fchmod(file.get(), 0600) != 0) {
        fail(errno);
    }
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(file.get(), bytes.data() + written, bytes.size() - written);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail(errno);
        }
        written += static_cast<std::size_t>(n);
    }
    if (::fsync(file.get()) != 0) {
        fail(errno);
    }
    if (::close(file.release()) != 0) {
        fail(errno);
    }
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        fail(errno);
    }
    // Make the rename itself durable.
    FileDescriptor directory(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.get() >= 0) {
        ::fsync(directory.get());
    }
}

std::string fileTooLargeMessage(const std::filesystem::path& path, std::uint64_t size,
                                std::uint64_t limit) {
    return "Couldn't read \u201c" + path.filename().string() + "\u201d: it is " + megabytes(size) +
           ", over the limit of " + std::to_string(limit >> 20) + " MB for files of this kind.";
}

void requireFileSizeAtMost(const std::filesystem::path& path, std::uint64_t limit) {
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
        static_cast<std::uint64_t>(info.st_size) > limit) {
        throw FileError(fileTooLargeMessage(path, static_cast<std::uint64_t>(info.st_size), limit));
    }
}

std::optional<std::string> readFileIfExists(const std::filesystem::path& path,
                                            std::uint64_t limit) {
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw FileError(describe("Couldn't read", path, errno));
    }
    struct stat info {};
    if (::fstat(file.get(), &info) != 0) {
        throw FileError(describe("Couldn't read", path, errno));
    }
    if (S_ISDIR(info.st_mode)) {
        throw FileError(describe("Couldn't read", path, EISDIR));
    }
    if (static_cast<std::uint64_t>(info.st_size) > limit) {
        throw FileError(fileTooLargeMessage(path, static_cast<std::uint64_t>(info.st_size), limit));
    }
    std::string contents;
    contents.resize(static_cast<std::size_t>(info.st_size));
    std::size_t filled = 0;
    for (;;) {
        if (filled == contents.size()) {
            // The file grew, or st_size was 0 (a pipe, a file in /proc): still within the limit.
            if (filled > limit) {
                throw FileError(fileTooLargeMessage(path, filled, limit));
            }
            contents.resize(contents.size() + 4096);
        }
        const ssize_t n = ::read(file.get(), contents.data() + filled, contents.size() - filled);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw FileError(describe("Couldn't read", path, errno));
        }
        if (n == 0) {
            break;
        }
        filled += static_cast<std::size_t>(n);
    }
    if (filled > limit) {
        throw FileError(fileTooLargeMessage(path, filled, limit));
    }
    contents.resize(filled);
    return contents;
}

std::string readFile(const std::filesystem::path& path, std::uint64_t limit) {
    auto contents = readFileIfExists(path, limit);
    if (!contents) {
        throw FileError(describe("Couldn't read", path, ENOENT));
    }
    return std::move(*contents);
}

void ensurePrivateFolder(const std::filesystem::path& folder) {
    if (folder.empty()) {
        return;  // the working folder, which is the user's to arrange
    }
    auto fail = [&](const std::string& reason) {
        throw FileError("Couldn't use the folder \u201c" + folder.string() + "\u201d: " + reason);
    };
    if (folder.has_parent_path() && folder.parent_path() != folder) {
        std::error_code error;
        std::filesystem::create_directories(folder.parent_path(), error);
        if (error) {
            fail(error.message());
        }
    }
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        fail(std::strerror(errno));
    }
    // Checked and tightened through one descriptor, so that the folder cannot be swapped for a
    // link or another user's folder between the check and the chmod.
    FileDescriptor handle(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (handle.get() < 0) {
        fail(errno == ENOTDIR || errno == ELOOP ? "it is not a folder" : std::strerror(errno));
    }
    struct stat info {};
    if (::fstat(handle.get(), &info) != 0) {
        fail(std::strerror(errno));
    }
    if (info.st_uid != ::geteuid()) {
        fail("it belongs to another user");
    }
    if ((info.st_mode & kGroupAndOther) != 0 && ::fchmod(handle.get(), 0700) != 0) {
        fail(std::strerror(errno));
    }
}

bool removeGroupAndOtherAccess(const std::filesystem::path& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || S_ISLNK(info.st_mode) || info.st_uid != ::geteuid() ||
        (info.st_mode & kGroupAndOther) == 0) {
        return false;
    }
    if (::chmod(path.c_str(), info.st_mode & 07777 & ~kGroupAndOther) != 0) {
        permissionLogger().error(describe("Couldn't make private", path, errno));
        return false;
    }
    return true;
}

}  // namespace wordloom

namespace wordloom {

std::string helperProgramPath(const std::string& name) {
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        return name;
    }
    const auto beside = self.parent_path() / name;
    if (std::filesystem::exists(beside, error)) {
        return beside.string();
    }
    const auto installed = self.parent_path().parent_path() / "libexec" / "wordloom" / name;
    if (std::filesystem::exists(installed, error)) {
        return installed.string();
    }
    return beside.string();
}

}  // namespace wordloom
