#pragma once

#include <functional>

#include "core/base/Executor.h"

namespace wordloom {

/// How the long-running desktop process keeps its heap small. Its allocation has one big burst
/// (reading, parsing and indexing the library) and then stays small; without care the freed
/// burst stays resident, spread over one malloc arena per thread that ever allocated.
namespace memoryPolicy {

/// Caps the malloc arenas at two and fixes the threshold above which blocks are mapped on
/// their own: large transient buffers (file bytes, the JSON parser's buffers, the encoder's
/// output) then go back to the system when freed, instead of raising the threshold and being
/// kept in the heap. Call first thing in the process, before threads start.
void configureAllocator();

/// Gives free heap pages of every arena back to the system.
void releaseFreePages();

}  // namespace memoryPolicy

/// Releases free heap pages once the process has been quiet for a while after a burst of
/// allocation (a library load or change). schedule() after each burst; the release runs once,
/// `quiet` after the last call, in the background.
class MemoryTrimmer {
  public:
    MemoryTrimmer(Executor& executor, Duration quiet,
                  std::function<void()> release = memoryPolicy::releaseFreePages);
    ~MemoryTrimmer();
    MemoryTrimmer(const MemoryTrimmer&) = delete;
    MemoryTrimmer& operator=(const MemoryTrimmer&) = delete;

    void schedule();

  private:
    Executor& executor_;
    Duration quiet_;
    std::function<void()> release_;
    ScheduledTask pending_;
};

}  // namespace wordloom
