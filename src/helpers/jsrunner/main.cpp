// wordloom-jsrunner: runs snippet scripts for Wordloom in a process that can compute and do
// nothing else. Started by JavaScriptRunner with its channel on descriptor 3, either as a helper
// or as a zygote that forks helpers; not meant to be started by hand.

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string_view>

#include "core/macros/JSRunnerProtocol.h"
#include "helpers/jsrunner/HelperSession.h"
#include "helpers/jsrunner/Zygote.h"

namespace {

bool isSocket(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace wordloom::jsrunner;

    bool sandboxProbes = false;
    bool zygote = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument(argv[i]);
        if (argument == "--enable-sandbox-probes") {
            sandboxProbes = true;
        } else if (argument == kZygoteArgument) {
            zygote = true;
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
    if (zygote) {
        return Zygote::serve(sandboxProbes);
    }
    runHelperSession(sandboxProbes, ::getppid());
}
