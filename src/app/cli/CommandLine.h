#pragma once

#include <iosfwd>

namespace wordloom::cli {

/// Runs one `wordloom` invocation. Returns the process exit status: 0 on success, 1 on a
/// failure (one message on `err`), 2 on a usage error (the usage on `err`).
int runCommandLine(int argc, char** argv, std::istream& in, std::ostream& out, std::ostream& err);

}  // namespace wordloom::cli
