#include "core/macros/JSHelperProcess.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "core/base/Log.h"
#include "core/macros/JSHelperProcessSpawn.h"

namespace wordloom {
namespace {

const Logger& logger() {
    static const Logger instance("JSHelperProcess");
    return instance;
}

std::size_t residentBytesOf(pid_t pid) {
    std::ifstream statm("/proc/" + std::to_string(pid) + "/statm");
    std::size_t totalPages = 0;
    std::size_t residentPages = 0;
    if (!(statm >> totalPages >> residentPages)) {
        return 0;
    }
    return residentPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace

struct JSHelperProcess::State {
    JSHelperLaunch launch;
    pid_t pid = -1;
    /// A pidfd when the zygote started the helper; -1 when it is our own child.
    int pidDescriptor = -1;
    int channel = -1;
    std::thread watcher;

    mutable std::mutex mutex;
    OutcomeHandler pending;
    bool dead = false;
    bool killed = false;
    bool greeted = false;
    std::size_t completed = 0;

    void killGroup() {
        if (pidDescriptor >= 0) {
            // Not our child, so its pid may be reused once it is gone: signal only through the
            // pidfd. The sandbox lets it make threads, never processes, so the group holds
            // nothing else.
            ::syscall(SYS_pidfd_send_signal, pidDescriptor, SIGKILL, nullptr, 0);
            return;
        }
        // The helper leads its own group; the group takes any thread or child it managed to make.
        // It stays our unreaped child until finish(), so the id cannot name anyone else.
        ::kill(-pid, SIGKILL);
    }

    OutcomeHandler takePending() {
        std::lock_guard lock(mutex);
        return std::exchange(pending, nullptr);
    }

    // Reads frames and watches memory until the helper is gone, then reaps it.
    void watch() {
        std::string buffer;
        char chunk[64 * 1024];
        for (;;) {
            int timeout = -1;
            {
                std::lock_guard lock(mutex);
                if (pending) {
                    timeout = launch.memoryCheckIntervalMs;
                }
            }
            pollfd descriptor{channel, POLLIN, 0};
            const int ready = ::poll(&descriptor, 1, timeout);
            if (ready < 0 && errno == EINTR) {
                continue;
            }
            if (ready == 0) {
                if (checkMemory()) {
                    break;
                }
                continue;
            }
            const ssize_t got = ::read(channel, chunk, sizeof chunk);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                break;
            }
            buffer.append(chunk, static_cast<std::size_t>(got));
            if (!consumeFrames(buffer)) {
                logger().error("the helper broke the protocol; stopping it");
                break;
            }
        }
        finish();
    }

    // Returns true when the helper was killed for its memory.
    bool checkMemory() {
        const std::size_t resident = residentBytesOf(pid);
        if (resident <= launch.memoryLimitBytes) {
            return false;
        }
        OutcomeHandler handler = takePending();
        if (!handler) {
            return false;
        }
        killGroup();
        logger().error("helper " + std::to_string(pid) + " used " +
                       std::to_string(resident / (1024 * 1024)) + " MB; killed");
        JSHelperOutcome outcome;
        outcome.kind = JSHelperOutcome::Kind::memoryExceeded;
        outcome.residentBytes = resident;
        handler(std::move(outcome));
        return true;
    }

    // Handles every complete frame in `buffer`; false on a protocol violation.
    bool consumeFrames(std::string& buffer) {
        std::size_t offset = 0;
        while (buffer.size() - offset >= jsrunner::kFrameHeaderSize) {
            const std::size_t size = jsrunner::decodeFrameHeader(
                reinterpret_cast<const unsigned char*>(buffer.data() + offset));
            if (size > jsrunner::kMaxFrameSize) {
                return false;
            }
            if (buffer.size() - offset - jsrunner::kFrameHeaderSize < size) {
                break;
            }
            const std::string_view payload(buffer.data() + offset + jsrunner::kFrameHeaderSize,
                                           size);
            offset += jsrunner::kFrameHeaderSize + size;
            if (!greeted) {
                if (!isJSRunnerHello(payload)) {
                    return false;
                }
                greeted = true;
                continue;
            }
            std::optional<JSRunnerReply> reply = decodeJSRunnerReply(payload);
            OutcomeHandler handler = takePending();
            if (!reply || !handler) {
                return false;  // garbage, or an answer nobody asked for
            }
            {
                std::lock_guard lock(mutex);
                ++completed;
            }
            JSHelperOutcome outcome;
            outcome.kind = JSHelperOutcome::Kind::replied;
            outcome.reply = std::move(reply);
            handler(std::move(outcome));
        }
        buffer.erase(0, offset);
        return true;
    }

    void finish() {
        bool wasKilled = false;
        {
            std::lock_guard lock(mutex);
            dead = true;
            wasKilled = killed;
        }
        killGroup();
        int status = 0;
        if (pidDescriptor >= 0) {
            ::close(pidDescriptor);  // the zygote reaps its children
        } else {
            while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
        }
        ::close(channel);
        OutcomeHandler handler = takePending();
        if (!wasKilled) {
            if (WIFSIGNALED(status) && WTERMSIG(status) != SIGKILL) {
                logger().error("helper " + std::to_string(pid) + " died of signal " +
                               std::to_string(WTERMSIG(status)));
            }
        }
        if (handler) {
            handler(JSHelperOutcome{});
        }
    }
};

JSHelperProcess::JSHelperProcess(std::shared_ptr<State> state) : state_(std::move(state)) {}

std::shared_ptr<JSHelperProcess> JSHelperProcess::launch(const JSHelperLaunch& launch) {
    const SpawnedJSHelper spawned = spawnJSHelper(launch, SOCK_STREAM);
    auto state = std::make_shared<State>();
    state->launch = launch;
    state->pid = spawned.pid;
    state->channel = spawned.channel;
    return watch(std::move(state));
}

std::shared_ptr<JSHelperProcess> JSHelperProcess::adopt(const JSHelperLaunch& launch, pid_t pid,
                                                        int pidDescriptor, int channel) {
    auto state = std::make_shared<State>();
    state->launch = launch;
    state->pid = pid;
    state->pidDescriptor = pidDescriptor;
    state->channel = channel;
    return watch(std::move(state));
}

std::shared_ptr<JSHelperProcess> JSHelperProcess::watch(std::shared_ptr<State> state) {
    state->watcher = std::thread([state] { state->watch(); });
    return std::shared_ptr<JSHelperProcess>(new JSHelperProcess(std::move(state)));
}

JSHelperProcess::~JSHelperProcess() {
    kill();
    if (state_->watcher.get_id() == std::this_thread::get_id()) {
        state_->watcher.detach();  // the watcher ends itself; its state lives as long as it does
    } else if (state_->watcher.joinable()) {
        state_->watcher.join();
    }
}

std::optional<std::string> JSHelperProcess::send(const JSRunnerRequest& request,
                                                 OutcomeHandler onOutcome) {
    {
        std::lock_guard lock(state_->mutex);
        if (state_->dead || state_->killed) {
            return "the helper has stopped";
        }
        if (state_->pending) {
            return "the helper is busy";
        }
        state_->pending = std::move(onOutcome);
    }
    const std::string frame = makeJSRunnerFrame(encodeJSRunnerRequest(request));
    if (frame.size() > jsrunner::kFrameHeaderSize + jsrunner::kMaxFrameSize) {
        state_->takePending();
        return "the script and its context are too large";
    }
    std::size_t offset = 0;
    while (offset < frame.size()) {
        const ssize_t written =
            ::send(state_->channel, frame.data() + offset, frame.size() - offset, MSG_NOSIGNAL);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            const int error = errno;
            state_->takePending();
            return std::strerror(error);
        }
        offset += static_cast<std::size_t>(written);
    }
    return std::nullopt;
}

void JSHelperProcess::kill() {
    {
        std::lock_guard lock(state_->mutex);
        if (state_->dead) {
            return;
        }
        state_->killed = true;
        state_->pending = nullptr;
    }
    state_->killGroup();
}

bool JSHelperProcess::isReusable() const {
    std::lock_guard lock(state_->mutex);
    return !state_->dead && !state_->killed && !state_->pending;
}

pid_t JSHelperProcess::pid() const {
    return state_->pid;
}

std::size_t JSHelperProcess::completedRequests() const {
    std::lock_guard lock(state_->mutex);
    return state_->completed;
}

}  // namespace wordloom
