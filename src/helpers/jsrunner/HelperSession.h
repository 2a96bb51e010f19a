#pragma once

#include <sys/types.h>

namespace wordloom::jsrunner {

/// One helper's life: starts the engine, confines the process, greets the application on the
/// channel at kChannelDescriptor and answers requests until the application closes it. Never
/// returns.
///
/// `expectedParent` is the process that must outlive this one (the application, or the zygote
/// that forked us): if it is already gone when the helper arranges to die with it, the helper
/// ends at once instead of running as an orphan.
[[noreturn]] void runHelperSession(bool sandboxProbes, pid_t expectedParent);

}  // namespace wordloom::jsrunner
