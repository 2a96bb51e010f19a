#pragma once

#include <stdexcept>
#include <string>

namespace wordloom {

/// Why an export produced no file. The description is the message shown to the user; the
/// underlying reason, when there is one, is kept in `detail`.
class ExportError : public std::runtime_error {
  public:
    enum class Kind { encodingFailed, writeFailed };

    explicit ExportError(Kind kind, std::string detail = {});

    Kind kind() const { return kind_; }
    const std::string& detail() const { return detail_; }

    static const char* description(Kind kind);

  private:
    Kind kind_;
    std::string detail_;
};

}  // namespace wordloom
