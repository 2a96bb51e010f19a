#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace wordloom::cli {

/// Runs one `wordloom` invocation. Returns the process exit status: 0 on success, 1 on a
/// failure (one message on `err`), 2 on a usage error (the usage on `err`).
int runCommandLine(int argc, char** argv, std::istream& in, std::ostream& out, std::ostream& err);

/// The same with the arguments after the program name and the environment given (tests).
int runCommandLine(std::vector<std::string> arguments, std::istream& in, std::ostream& out,
                   std::ostream& err,
                   std::function<std::optional<std::string>(const std::string&)> environment);

}  // namespace wordloom::cli
