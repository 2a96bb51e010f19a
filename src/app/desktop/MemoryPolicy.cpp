#include "app/desktop/MemoryPolicy.h"

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace wordloom {

namespace memoryPolicy {

void configureAllocator() {
#if defined(__GLIBC__)
    // Two arenas: the main thread's and one shared by the pool, the X and D-Bus threads.
    // Nothing here allocates hotly enough from several threads to contend.
    mallopt(M_ARENA_MAX, 2);
    // Setting it also turns off glibc's sliding threshold, which after the first large free
    // would keep every later library-sized buffer inside the heap.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024);
#endif
}

void releaseFreePages() {
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

}  // namespace memoryPolicy

MemoryTrimmer::MemoryTrimmer(Executor& executor, Duration quiet, std::function<void()> release)
    : executor_(executor), quiet_(quiet), release_(std::move(release)) {}

MemoryTrimmer::~MemoryTrimmer() {
    pending_.cancel();
}

void MemoryTrimmer::schedule() {
    pending_.cancel();
    pending_ = executor_.postAfter(quiet_, [this] {
        // The release walks every arena; keep that off the main queue.
        executor_.runInBackground(release_);
    });
}

}  // namespace wordloom
