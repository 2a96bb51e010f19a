#pragma once

#include <filesystem>

namespace wordloom::test {

/// A fresh folder under the system's temporary folder, removed with everything in it when the
/// object goes away.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& child) const {
        return path_ / child;
    }

  private:
    std::filesystem::path path_;
};

}  // namespace wordloom::test
