#include "helpers/jsrunner/SyscallSandbox.h"

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "core/macros/JSRunnerProtocol.h"

namespace wordloom::jsrunner {
namespace {

int gChannel = -1;

// Appends `text` to `out` at `length`; async-signal-safe.
void appendText(char* out, std::size_t& length, std::size_t capacity, const char* text) {
    while (*text != '\0' && length < capacity) {
        out[length++] = *text++;
    }
}

void appendNumber(char* out, std::size_t& length, std::size_t capacity, long number) {
    char digits[24];
    int count = 0;
    unsigned long value = number < 0 ? static_cast<unsigned long>(-number) : number;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0 && count < 23);
    if (number < 0) {
        appendText(out, length, capacity, "-");
    }
    while (count > 0 && length < capacity) {
        out[length++] = digits[--count];
    }
}

// Runs on the thread that made the forbidden call. Only async-signal-safe work: build the reply
// in a stack buffer, write it, leave.
void onForbiddenSystemCall(int, siginfo_t* info, void*) {
    constexpr std::size_t kCapacity = 256;
    char payload[kCapacity];
    std::size_t length = 0;
    appendText(payload, length, kCapacity, "{\"errorKind\":\"");
    appendText(payload, length, kCapacity, errorKind::securityViolation.data());
    appendText(payload, length, kCapacity,
               "\",\"errorMessage\":\"The sandbox refused system call ");
    appendNumber(payload, length, kCapacity, info->si_syscall);
    appendText(payload, length, kCapacity, "\",\"executionTime\":0}");

    char frame[kFrameHeaderSize + kCapacity];
    encodeFrameHeader(length, reinterpret_cast<unsigned char*>(frame));
    std::memcpy(frame + kFrameHeaderSize, payload, length);
    std::size_t offset = 0;
    const std::size_t total = kFrameHeaderSize + length;
    while (offset < total) {
        const ssize_t written = ::write(gChannel, frame + offset, total - offset);
        if (written <= 0) {
            break;
        }
        offset += static_cast<std::size_t>(written);
    }
    ::syscall(SYS_exit_group, 3);
}

class Filter {
  public:
    Filter() : context_(seccomp_init(SCMP_ACT_TRAP)) {}
    ~Filter() {
        if (context_ != nullptr) {
            seccomp_release(context_);
        }
    }
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

    bool valid() const { return context_ != nullptr; }

    int allow(std::initializer_list<int> calls) {
        for (int call : calls) {
            if (const int rc = seccomp_rule_add(context_, SCMP_ACT_ALLOW, call, 0); rc != 0) {
                return rc;
            }
        }
        return 0;
    }

    template <typename... Conditions>
    int allowWhen(int call, Conditions... conditions) {
        return seccomp_rule_add(context_, SCMP_ACT_ALLOW, call, sizeof...(conditions),
                                conditions...);
    }

    int fail(int call, int error) {
        return seccomp_rule_add(context_, SCMP_ACT_ERRNO(error), call, 0);
    }

    int synchronizeThreads() { return seccomp_attr_set(context_, SCMP_FLTATR_CTL_TSYNC, 1); }

    int load() { return seccomp_load(context_); }

  private:
    scmp_filter_ctx context_;
};

}  // namespace

std::string SyscallSandbox::apply(int channelDescriptor) {
    gChannel = channelDescriptor;

    struct sigaction action {};
    action.sa_sigaction = onForbiddenSystemCall;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    if (sigaction(SIGSYS, &action, nullptr) != 0) {
        return std::string("cannot install the SIGSYS handler: ") + std::strerror(errno);
    }

    Filter filter;
    if (!filter.valid()) {
        return "seccomp_init failed";
    }
    const auto self = static_cast<scmp_datum_t>(::getpid());
    int rc = filter.allow({
        // the channel (and the /dev/null standard streams)
        SCMP_SYS(read),
        SCMP_SYS(write),
        SCMP_SYS(readv),
        SCMP_SYS(writev),
        SCMP_SYS(close),
        SCMP_SYS(poll),
        SCMP_SYS(ppoll),
        SCMP_SYS(fstat),
        SCMP_SYS(pread64),
        SCMP_SYS(lseek),
        // the wake-up descriptor of the engine's own run loop: a counter, no outside resource
        SCMP_SYS(eventfd2),
        // memory, including the engine's JIT and garbage collector
        SCMP_SYS(brk),
        SCMP_SYS(mmap),
        SCMP_SYS(munmap),
        SCMP_SYS(mprotect),
        SCMP_SYS(madvise),
        SCMP_SYS(mremap),
        SCMP_SYS(mincore),
        SCMP_SYS(membarrier),
        // threads and their synchronisation
        SCMP_SYS(futex),
        SCMP_SYS(set_robust_list),
        SCMP_SYS(get_robust_list),
        SCMP_SYS(rseq),
        SCMP_SYS(sched_yield),
        SCMP_SYS(sched_getaffinity),
        SCMP_SYS(sched_getparam),
        SCMP_SYS(sched_getscheduler),
        SCMP_SYS(gettid),
        SCMP_SYS(getpid),
        SCMP_SYS(exit),
        SCMP_SYS(exit_group),
        SCMP_SYS(set_tid_address),
        SCMP_SYS(getrlimit),
        SCMP_SYS(getrusage),
        // signals, which the collector uses to pause its threads
        SCMP_SYS(rt_sigaction),
        SCMP_SYS(rt_sigprocmask),
        SCMP_SYS(rt_sigreturn),
        SCMP_SYS(sigaltstack),
        SCMP_SYS(restart_syscall),
        SCMP_SYS(rt_sigsuspend),
        SCMP_SYS(rt_sigtimedwait),
        SCMP_SYS(rt_sigpending),
        // time and randomness
        SCMP_SYS(clock_gettime),
        SCMP_SYS(clock_getres),
        SCMP_SYS(gettimeofday),
        SCMP_SYS(time),
        SCMP_SYS(nanosleep),
        SCMP_SYS(clock_nanosleep),
        SCMP_SYS(getrandom),
    });
    // Resource limits of this process only (the engine reads its stack size): pid 0 or our own.
    rc = rc != 0 ? rc : filter.allowWhen(SCMP_SYS(prlimit64), SCMP_A0(SCMP_CMP_EQ, 0));
    rc = rc != 0 ? rc : filter.allowWhen(SCMP_SYS(prlimit64), SCMP_A0(SCMP_CMP_EQ, self));
    // Signals only to our own threads.
    rc = rc != 0 ? rc : filter.allowWhen(SCMP_SYS(tgkill), SCMP_A0(SCMP_CMP_EQ, self));
    // New threads yes, new processes no: glibc's pthread_create passes CLONE_THREAD, fork does
    // not. clone3 keeps its flags in memory the filter cannot read, so it reports "not
    // implemented" and glibc falls back to clone.
    rc = rc != 0 ? rc
                 : filter.allowWhen(SCMP_SYS(clone),
                                    SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, CLONE_THREAD));
    rc = rc != 0 ? rc : filter.fail(SCMP_SYS(clone3), ENOSYS);
    // The engine raises or lowers its helper threads' priority where it may; here it may not, and
    // it copes with the refusal.
    for (int call : {SCMP_SYS(sched_setscheduler), SCMP_SYS(sched_setparam),
                     SCMP_SYS(sched_setattr), SCMP_SYS(setpriority)}) {
        rc = rc != 0 ? rc : filter.fail(call, EPERM);
    }
    // Thread names only.
    rc = rc != 0 ? rc : filter.allowWhen(SCMP_SYS(prctl), SCMP_A0(SCMP_CMP_EQ, PR_SET_NAME));
    rc = rc != 0 ? rc : filter.allowWhen(SCMP_SYS(prctl), SCMP_A0(SCMP_CMP_EQ, PR_GET_NAME));
    // Threads the engine already started get the filter too.
    rc = rc != 0 ? rc : filter.synchronizeThreads();
    if (rc != 0) {
        return std::string("cannot build the system-call filter: ") + std::strerror(-rc);
    }
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        return std::string("cannot set no_new_privs: ") + std::strerror(errno);
    }
    if (const int loaded = filter.load(); loaded != 0) {
        return std::string("cannot load the system-call filter: ") + std::strerror(-loaded);
    }
    return {};
}

}  // namespace wordloom::jsrunner
