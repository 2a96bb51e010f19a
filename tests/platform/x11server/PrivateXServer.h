#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace wordloom::test {

/// An Xvfb of our own on a free display number, made the process's $DISPLAY until destroyed.
class PrivateXServer {
  public:
    PrivateXServer();
    ~PrivateXServer();
    PrivateXServer(const PrivateXServer&) = delete;
    PrivateXServer& operator=(const PrivateXServer&) = delete;

    const std::string& display() const { return display_; }

    /// Runs a program on this display to its end (at most ten seconds); its exit status, or -1.
    static int run(const std::vector<std::string>& arguments);

  private:
    pid_t pid_ = -1;
    std::string display_;
    std::optional<std::string> previousDisplay_;
};

}  // namespace wordloom::test
