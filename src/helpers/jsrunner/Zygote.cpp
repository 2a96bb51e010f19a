#include "helpers/jsrunner/Zygote.h"

#include <dirent.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "core/macros/DescriptorPassing.h"
#include "core/macros/JSRunnerProtocol.h"
#include "helpers/jsrunner/HelperSession.h"

namespace wordloom::jsrunner {
namespace {

int threadCount() {
    DIR* tasks = ::opendir("/proc/self/task");
    if (tasks == nullptr) {
        return -1;
    }
    int count = 0;
    while (const dirent* entry = ::readdir(tasks)) {
        if (entry->d_name[0] != '.') {
            ++count;
        }
    }
    ::closedir(tasks);
    return count;
}

// The descriptor passed with the request, or -1 when there is none (or when the application has
// gone: then `closed` is set).
int receiveChannel(bool& closed) {
    char request = 0;
    const auto received = descriptor_passing::receive(kChannelDescriptor, &request, 1);
    if (received.bytes <= 0) {
        closed = true;
        if (received.descriptor >= 0) {
            ::close(received.descriptor);
        }
        return -1;
    }
    return received.descriptor;
}

bool sendReply(const ZygoteForkReply& reply, int pidDescriptor) {
    return descriptor_passing::send(kChannelDescriptor, &reply, sizeof reply, pidDescriptor);
}

// In the forked child: take the new channel as the only descriptor besides the standard
// streams, lead a process group of its own, and run as an ordinary helper.
[[noreturn]] void becomeHelper(int channel, bool sandboxProbes, pid_t zygote,
                               const sigset_t& signalMask) {
    if (::dup2(channel, kChannelDescriptor) != kChannelDescriptor ||
        ::syscall(SYS_close_range, kChannelDescriptor + 1, UINT_MAX, 0) != 0 ||
        ::setpgid(0, 0) != 0 || ::sigprocmask(SIG_SETMASK, &signalMask, nullptr) != 0) {
        ::_exit(1);
    }
    runHelperSession(sandboxProbes, zygote);
}

// Reaps every child that has ended; returns how many.
int reapEndedChildren() {
    int reaped = 0;
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
        ++reaped;
    }
    return reaped;
}

}  // namespace

int Zygote::serve(bool sandboxProbes) {
    // Forking is only safe while no other thread could hold a lock the child would inherit.
    if (threadCount() != 1) {
        std::fprintf(stderr, "wordloom-jsrunner: the zygote must be single-threaded\n");
        return 3;
    }
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::signal(SIGPIPE, SIG_IGN);
    const pid_t self = ::getpid();

    // Ended children are noticed through a descriptor rather than a handler, so the zygote
    // sleeps until there is something to do.
    sigset_t childEnded;
    sigemptyset(&childEnded);
    sigaddset(&childEnded, SIGCHLD);
    sigset_t originalMask;
    if (::sigprocmask(SIG_BLOCK, &childEnded, &originalMask) != 0) {
        return 1;
    }
    const int childEvents = ::signalfd(-1, &childEnded, SFD_CLOEXEC | SFD_NONBLOCK);
    if (childEvents < 0) {
        return 1;
    }
    for (;;) {
        pollfd ready[] = {{kChannelDescriptor, POLLIN, 0}, {childEvents, POLLIN, 0}};
        if (::poll(ready, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            return 1;
        }
        if (ready[1].revents != 0) {
            signalfd_siginfo drained[8];
            while (::read(childEvents, drained, sizeof drained) > 0) {
            }
            // A child is reaped only here, after its pidfd went out: until then its zombie keeps
            // the pid from being reused, so the pidfd always names the child we forked.
            reapEndedChildren();
        }
        if (ready[0].revents == 0) {
            continue;
        }
        bool closed = false;
        const int channel = receiveChannel(closed);
        if (closed) {
            return 0;
        }
        ZygoteForkReply reply;
        if (channel < 0) {
            reply.error = EBADF;
            sendReply(reply, -1);
            continue;
        }
        const pid_t child = ::fork();
        if (child == 0) {
            becomeHelper(channel, sandboxProbes, self, originalMask);
        }
        const int forkError = errno;
        ::close(channel);
        int pidDescriptor = -1;
        if (child < 0) {
            reply.error = forkError;
        } else {
            reply.pid = child;
            pidDescriptor = static_cast<int>(::syscall(SYS_pidfd_open, child, 0));
            if (pidDescriptor < 0) {
                reply.error = errno;
                ::kill(child, SIGKILL);
            }
        }
        const bool sent = sendReply(reply, pidDescriptor);
        if (pidDescriptor >= 0) {
            ::close(pidDescriptor);
        }
        if (!sent) {
            return 0;
        }
    }
}

}  // namespace wordloom::jsrunner
