#include "core/sync/SyncLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace wordloom {

SyncLock::SyncLock(const std::filesystem::path& dataFolder) {
    const auto path = dataFolder / fileName;
    fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

SyncLock::~SyncLock() {
    if (fd_ >= 0) {
        ::close(fd_);  // releases the lock
    }
}

}  // namespace wordloom
