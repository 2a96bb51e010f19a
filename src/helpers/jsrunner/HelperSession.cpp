#include "helpers/jsrunner/HelperSession.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <string>

#include "core/macros/JSRunnerProtocol.h"
#include "helpers/jsrunner/HelperChannel.h"
#include "helpers/jsrunner/ScriptEngine.h"
#include "helpers/jsrunner/SyscallSandbox.h"

namespace wordloom::jsrunner {
namespace {

std::string helloPayload() {
    return std::string("{\"") + std::string(key::hello) + "\":\"" + std::string(kServiceName) +
           "\",\"" + std::string(key::protocolVersion) + "\":" + std::to_string(kProtocolVersion) +
           "}";
}

// glibc looks at /etc/localtime again on every localtime() call unless TZ names the zone, and
// the sandbox would stop that look. Pinning TZ to the zone in force at start keeps dates local;
// a helper lives for a few minutes at most, so a later change of zone reaches the next one. A
// helper forked by the zygote pins it here too, not in the zygote, for the same reason.
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

void runHelperSession(bool sandboxProbes, pid_t expectedParent) {
    // Die with the application, even in the middle of a script.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != expectedParent) {
        ::_exit(1);
    }
    ::signal(SIGPIPE, SIG_IGN);

    pinTimeZone();
    ScriptEngine engine(sandboxProbes);
    engine.warmUp();
    const std::string sandboxFailure = SyscallSandbox::apply(kChannelDescriptor);

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

}  // namespace wordloom::jsrunner
