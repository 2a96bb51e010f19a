#include <iostream>

#include "app/cli/CommandLine.h"

int main(int argc, char** argv) {
    return wordloom::cli::runCommandLine(argc, argv, std::cin, std::cout, std::cerr);
}
