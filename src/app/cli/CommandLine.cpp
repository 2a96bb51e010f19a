#include "app/cli/CommandLine.h"

#include <ostream>
#include <string_view>

namespace wordloom::cli {

int runCommandLine(int argc, char** argv, std::istream& /*in*/, std::ostream& /*out*/,
                   std::ostream& err) {
    if (argc < 2) {
        err << "usage: wordloom COMMAND [OPTIONS]\n";
        return 2;
    }
    err << "wordloom: unknown command \u201c" << std::string_view(argv[1]) << "\u201d\n";
    return 2;
}

}  // namespace wordloom::cli
