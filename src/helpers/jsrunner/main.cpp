// wordloom-jsrunner: runs snippet scripts for Wordloom in a process that can compute and do
// nothing else. Started by JavaScriptRunner with its channel on descriptor 3; not meant to be
// started by hand.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/macros/JSRunnerProtocol.h"
#include "helpers/jsrunner/HelperChannel.h"
#include "helpers/jsrunner/ScriptEngine.h"
#include "helpers/jsrunner/SyscallSandbox.h"

namespace {

bool isSocket(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

std::string helloPayload() {
    return std::string("{\"") + std::string(wordloom::jsrunner::key::hello) + "\":\"" +
           std::string(wordloom::jsrunner::kServiceName) + "\",\"" +
           std::string(wordloom::jsrunner::key::protocolVersion) +
           "\":" + std::to_string(wordloom::jsrunner::kProtocolVersion) + "}";
}

// glibc looks at /etc/localtime again on every localtime() call unless TZ names the zone, and
// the sandbox would stop that look. Pinning TZ to the zone in force at start keeps dates local;
// a helper lives for a few minutes at most, so a later change of zone reaches the next one.
void pinTimeZone() {
    if (std::getenv("TZ") != nullptr) {
        return;
    }
    char zone[PATH_MAX];
    if (::realpath("/etc/localtime", zone) != nullptr) {
        ::setenv("TZ", (std::string(":") + zone).c_str(), 1);
    } else {
        ::setenv("TZ", "UTC", 1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    using namespace wordloom::jsrunner;

    bool sandboxProbes = false;
    for (int i = 1; i < argc; ++i) {
        if (std::string_view(argv[i]) == "--enable-sandbox-probes") {
            sandboxProbes = true;
        } else {
            std::fprintf(stderr, "wordloom-jsrunner: unknown option %s\n", argv[i]);
            return 2;
        }
    }
    if (!isSocket(kChannelDescriptor)) {
        std::fprintf(stderr,
                     "wordloom-jsrunner: Wordloom starts this helper itself; it expects its "
                     "channel on descriptor %d\n",
                     kChannelDescriptor);
        return 2;
    }
    // Die with the application, even in the middle of a script.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::signal(SIGPIPE, SIG_IGN);

    pinTimeZone();
    ScriptEngine engine(sandboxProbes);
    engine.warmUp();
    const std::string sandboxFailure = SyscallSandbox::apply(kChannelDescriptor);

    if (sandboxFailure.empty()) {
        engine.prepareNextContext();
    }
    HelperChannel channel(kChannelDescriptor);
    if (!channel.send(helloPayload())) {
        ::_exit(1);
    }
    while (auto request = channel.receive()) {
        // Without its sandbox the helper answers but never runs a script.
        std::string reply =
            sandboxFailure.empty()
                ? engine.evaluate(*request)
                : engine.failureReply(errorKind::securityViolation,
                                      "The script sandbox is unavailable: " + sandboxFailure);
        if (reply.size() > kMaxFrameSize) {
            reply = engine.failureReply(errorKind::executionFailed,
                                        "The script's output is larger than 32 MB");
        }
        if (!channel.send(reply)) {
            break;
        }
        if (sandboxFailure.empty()) {
            engine.prepareNextContext();
        }
    }
    // Skip static destructors: tearing the engine down could need calls the filter forbids.
    ::_exit(0);
}
