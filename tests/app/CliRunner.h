#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace wordloom::test {

/// What one in-process `wordloom` run printed and returned.
struct CliResult {
    int status = -1;
    std::string out;
    std::string err;
};

/// Runs the command line in-process against one data folder, with a controlled environment
/// (nothing from the real one leaks in).
class CliRunner {
  public:
    explicit CliRunner(std::filesystem::path dataFolder) : dataFolder_(std::move(dataFolder)) {}

    /// Runs `wordloom --data-dir <folder> <arguments...>`, with `input` as standard input.
    CliResult run(std::vector<std::string> arguments, const std::string& input = "") const;
    /// Runs exactly `arguments` (no --data-dir added).
    CliResult runRaw(std::vector<std::string> arguments, const std::string& input = "") const;

    std::map<std::string, std::string> environment;

  private:
    std::filesystem::path dataFolder_;
};

}  // namespace wordloom::test
