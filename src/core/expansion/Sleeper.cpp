#include "core/expansion/Sleeper.h"

#include <thread>

namespace wordloom {

void ThreadSleeper::sleep(Duration duration) {
    if (duration > Duration::zero()) {
        std::this_thread::sleep_for(duration);
    }
}

}  // namespace wordloom
