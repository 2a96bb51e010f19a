#pragma once

#include <stdexcept>
#include <string>

namespace wordloom::cli {

/// The command was called wrongly: its usage is printed and the exit status is 2.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The command could not do its job: one message on stderr and exit status 1.
class CommandError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace wordloom::cli
