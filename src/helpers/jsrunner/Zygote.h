#pragma once

namespace wordloom::jsrunner {

/// The helper in its zygote role (see kZygoteArgument): a process that has paid for loading the
/// engine's libraries once and forks a fresh helper per request, so a cold helper skips the
/// program start. The zygote never creates an engine and stays single-threaded, which is what
/// makes fork safe here; a forked helper starts its own engine and sandbox from nothing, exactly
/// as a directly started one does.
class Zygote {
  public:
    /// Serves fork requests on the channel at kChannelDescriptor until the application closes
    /// it. Returns the zygote's exit status; in a forked helper it never returns.
    static int serve(bool sandboxProbes);
};

}  // namespace wordloom::jsrunner
