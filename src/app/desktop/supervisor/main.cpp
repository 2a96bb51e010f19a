// wordloom-supervisor: the small parent process of `wordloom start`. It holds the one-instance
// lock and keeps the application running across X server restarts, without loading anything
// the application needs.
//
//   wordloom-supervisor APPLICATION [ARGUMENT...]

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "app/desktop/supervisor/ApplicationSupervisor.h"
#include "app/desktop/supervisor/InstanceLock.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "usage: wordloom-supervisor APPLICATION [ARGUMENT...]\n";
        return 2;
    }
    const char* display = std::getenv("DISPLAY");
    const wordloom::InstanceLock lock(display ? display : "");
    if (!lock.acquired()) {
        std::cerr << lock.alreadyRunningMessage() << "\n";
        return 1;
    }
    return wordloom::superviseApplication(std::vector<std::string>(argv + 1, argv + argc));
}
