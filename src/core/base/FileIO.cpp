#include "core/base/FileIO.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "core/base/Uuid.h"

namespace wordloom {
namespace {

constexpr std::string_view kTemporarySuffix = ".wordloom-tmp";

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

    FileDescriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (file.get() < 0) {
        throw FileError(describe("Couldn't write", path, errno));
    }
    auto fail = [&](int error) {
        ::unlink(temporary.c_str());
        throw FileError(describe("Couldn't write", path, error));
    };
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

std::optional<std::string> readFileIfExists(const std::filesystem::path& path) {
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
    std::string contents;
    contents.resize(static_cast<std::size_t>(info.st_size));
    std::size_t filled = 0;
    for (;;) {
        if (filled == contents.size()) {
            contents.resize(contents.size() + 4096);  // the file grew, or st_size was 0
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
    contents.resize(filled);
    return contents;
}

std::string readFile(const std::filesystem::path& path) {
    auto contents = readFileIfExists(path);
    if (!contents) {
        throw FileError(describe("Couldn't read", path, ENOENT));
    }
    return std::move(*contents);
}

}  // namespace wordloom
