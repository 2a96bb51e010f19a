#include "CliRunner.h"

#include <sstream>

#include "app/cli/CommandLine.h"

namespace wordloom::test {

CliResult CliRunner::run(std::vector<std::string> arguments, const std::string& input) const {
    arguments.insert(arguments.begin(), {"--data-dir", dataFolder_.string()});
    return runRaw(std::move(arguments), input);
}

CliResult CliRunner::runRaw(std::vector<std::string> arguments, const std::string& input) const {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    CliResult result;
    result.status = cli::runCommandLine(
        std::move(arguments), in, out, err,
        [this](const std::string& name) -> std::optional<std::string> {
            const auto it = environment.find(name);
            return it == environment.end() ? std::nullopt : std::optional(it->second);
        });
    result.out = out.str();
    result.err = err.str();
    return result;
}

}  // namespace wordloom::test
