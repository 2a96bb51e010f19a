#pragma once

#include <stdexcept>

namespace wordloom {

/// A source that cannot be imported at all: unreadable, of no known format, malformed, or over
/// a limit. The message is shown to the user as it is. Nothing has been changed when it is
/// thrown.
class ImportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace wordloom
