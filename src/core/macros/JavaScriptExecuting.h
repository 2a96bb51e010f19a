#pragma once

#include <map>
#include <optional>
#include <string>

namespace wordloom {

/// Why a script produced no output.
class JavaScriptError {
  public:
    enum class Kind { executionFailed, timeout, invalidScript, securityViolation };

    static JavaScriptError executionFailed(std::string message) {
        return JavaScriptError(Kind::executionFailed, std::move(message));
    }
    static JavaScriptError timeout() { return JavaScriptError(Kind::timeout, {}); }
    static JavaScriptError invalidScript() { return JavaScriptError(Kind::invalidScript, {}); }
    static JavaScriptError securityViolation() {
        return JavaScriptError(Kind::securityViolation, {});
    }

    Kind kind() const { return kind_; }
    /// The message of executionFailed; empty for the other kinds.
    const std::string& message() const { return message_; }

    /// The text shown to the user.
    std::string description() const {
        switch (kind_) {
            case Kind::executionFailed:
                return "JavaScript error: " + message_;
            case Kind::timeout:
                return "JavaScript execution timed out";
            case Kind::invalidScript:
                return "Invalid JavaScript code";
            case Kind::securityViolation:
                return "Script attempted to access restricted functionality";
        }
        return {};
    }

    bool operator==(const JavaScriptError&) const = default;

  private:
    JavaScriptError(Kind kind, std::string message) : kind_(kind), message_(std::move(message)) {}
    Kind kind_;
    std::string message_;
};

/// The outcome of one script run: its output, or an error and empty output.
struct JavaScriptResult {
    std::string output;
    /// Wall time from the start of the request, in seconds.
    double executionTime = 0;
    std::optional<JavaScriptError> error;
};

/// Runs user scripts somewhere they cannot harm the user. The macro evaluator calls it for
/// {{js:...}}; the sandboxed helper-process runner implements it.
class JavaScriptExecuting {
  public:
    virtual ~JavaScriptExecuting() = default;

    /// Runs `script` with `context` and the clipboard text. Blocks the calling thread until the
    /// script finishes or its time budget runs out; never throws: failures are in the result.
    /// Safe to call from several threads at once.
    virtual JavaScriptResult execute(const std::string& script,
                                     const std::map<std::string, std::string>& context,
                                     const std::string& clipboardContents) = 0;
};

}  // namespace wordloom
