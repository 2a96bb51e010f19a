#include "core/macros/JSHelperProcessZygote.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "core/base/Log.h"
#include "core/macros/DescriptorPassing.h"
#include "core/macros/JSHelperProcessSpawn.h"
#include "core/macros/JSRunnerProtocol.h"

namespace wordloom {
namespace {

const Logger& logger() {
    static const Logger instance("JSHelperProcessZygote");
    return instance;
}

// Closes a descriptor when it goes out of scope unless released.
class OwnedDescriptor {
  public:
    explicit OwnedDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~OwnedDescriptor() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    int get() const { return descriptor_; }
    int release() { return std::exchange(descriptor_, -1); }
    void reset(int descriptor) {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
        descriptor_ = descriptor;
    }

  private:
    int descriptor_;
};

bool sendChannel(int zygote, int channel) {
    const char request = 'F';
    return descriptor_passing::send(zygote, &request, 1, channel);
}

// Waits at most until `deadline` for the reply; the pidfd it carries goes into `pidDescriptor`.
std::optional<jsrunner::ZygoteForkReply> receiveReply(
    int zygote, std::chrono::steady_clock::time_point deadline, OwnedDescriptor& pidDescriptor) {
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        pollfd ready{zygote, POLLIN, 0};
        const int polled = ::poll(&ready, 1, static_cast<int>(left.count()));
        if (polled < 0 && errno == EINTR) {
            continue;
        }
        if (polled <= 0) {
            return std::nullopt;
        }
        break;
    }
    jsrunner::ZygoteForkReply reply;
    const auto received = descriptor_passing::receive(zygote, &reply, sizeof reply, MSG_DONTWAIT);
    OwnedDescriptor descriptor(received.descriptor);
    if (received.bytes != static_cast<ssize_t>(sizeof reply)) {
        return std::nullopt;
    }
    pidDescriptor.reset(descriptor.release());
    return reply;
}

}  // namespace

JSHelperProcessZygote::JSHelperProcessZygote(JSHelperLaunch launch,
                                             JSHelperProcessLauncher& launcher, int replyTimeoutMs)
    : launch_(std::move(launch)), launcher_(launcher), replyTimeoutMs_(replyTimeoutMs) {}

JSHelperProcessZygote::~JSHelperProcessZygote() {
    stop();
}

bool JSHelperProcessZygote::start() {
    std::lock_guard lock(mutex_);
    return startLocked();
}

bool JSHelperProcessZygote::startLocked() {
    if (pid_ > 0) {
        return true;
    }
    try {
        SpawnedJSHelper spawned;
        launcher_.run([&] {
            spawned =
                spawnJSHelper(launch_, SOCK_SEQPACKET, {std::string(jsrunner::kZygoteArgument)});
        });
        pid_ = spawned.pid;
        channel_ = spawned.channel;
        return true;
    } catch (const std::exception& error) {
        logger().error(std::string("cannot start the helper zygote: ") + error.what());
        return false;
    }
}

void JSHelperProcessZygote::stop() {
    std::lock_guard lock(mutex_);
    stopLocked();
}

void JSHelperProcessZygote::stopLocked() {
    if (pid_ <= 0) {
        return;
    }
    ::close(channel_);
    // Our own child, unreaped until the wait below, so the group id is still the zygote's.
    ::kill(-pid_, SIGKILL);
    while (::waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    channel_ = -1;
}

std::shared_ptr<JSHelperProcess> JSHelperProcessZygote::fork() {
    std::lock_guard lock(mutex_);
    if (!startLocked()) {
        return nullptr;
    }
    bool zygoteFailed = false;
    std::shared_ptr<JSHelperProcess> helper = forkLocked(zygoteFailed);
    if (zygoteFailed) {
        stopLocked();
    }
    return helper;
}

std::shared_ptr<JSHelperProcess> JSHelperProcessZygote::forkLocked(bool& zygoteFailed) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(replyTimeoutMs_);
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        logger().error(std::string("socketpair: ") + std::strerror(errno));
        return nullptr;
    }
    OwnedDescriptor ours(ends[0]);
    {
        OwnedDescriptor theirs(ends[1]);
        if (!sendChannel(channel_, theirs.get())) {
            logger().error("the helper zygote does not take requests; stopping it");
            zygoteFailed = true;
            return nullptr;
        }
    }
    OwnedDescriptor pidDescriptor;
    const std::optional<jsrunner::ZygoteForkReply> reply =
        receiveReply(channel_, deadline, pidDescriptor);
    if (!reply) {
        logger().error("the helper zygote gave no answer in time; stopping it");
        zygoteFailed = true;
        return nullptr;
    }
    if (reply->error == 0 && (pidDescriptor.get() < 0 || reply->pid <= 0)) {
        logger().error("the helper zygote broke its protocol; stopping it");
        zygoteFailed = true;
        return nullptr;
    }
    if (reply->error != 0) {
        // The zygote is fine; the system refused it a process (or a pidfd) this time.
        logger().error(std::string("the helper zygote could not start a helper: ") +
                       std::strerror(reply->error));
        return nullptr;
    }
    return JSHelperProcess::adopt(launch_, reply->pid, pidDescriptor.release(), ours.release());
}

bool JSHelperProcessZygote::isRunning() const {
    std::lock_guard lock(mutex_);
    return pid_ > 0;
}

pid_t JSHelperProcessZygote::pid() const {
    std::lock_guard lock(mutex_);
    return pid_;
}

}  // namespace wordloom
