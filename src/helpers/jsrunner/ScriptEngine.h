#pragma once

#include <JavaScriptCore/JavaScript.h>

#include <string>
#include <string_view>

namespace wordloom::jsrunner {

/// Hosts JavaScriptCore and runs one request at a time, each in a fresh global object so that no
/// script sees what an earlier one left behind.
///
/// A script is the body of a function. It sees `context` (a frozen object of the request's named
/// text values) and `clipboard` (the clipboard text). Its return value becomes the output:
/// undefined and null give "", a string is taken as it is, anything else as JSON.stringify writes
/// it; a returned promise is awaited if it settles without outside help.
class ScriptEngine {
  public:
    /// `sandboxProbes` adds the test-only function sandboxProbe(kind, argument), which makes a
    /// real system call so tests can see the sandbox refuse it.
    explicit ScriptEngine(bool sandboxProbes);
    ~ScriptEngine();
    ScriptEngine(const ScriptEngine&) = delete;
    ScriptEngine& operator=(const ScriptEngine&) = delete;

    /// Uses once every part of the engine that reads files the first time it is needed (the time
    /// zone), before the sandbox forbids that, and builds the first script's global object.
    void warmUp();

    /// Builds the global object for the next script ahead of time, so that the work is done
    /// while the helper would otherwise wait for a request.
    void prepareNextContext();

    /// Runs the request payload (JSON) and returns the reply payload (JSON).
    std::string evaluate(std::string_view requestPayload);

    /// A reply payload for a failure that happened before or outside a script.
    std::string failureReply(std::string_view kind, std::string_view message);

  private:
    struct Run;
    JSValueRef runScript(JSGlobalContextRef context, Run& run, std::string_view script);
    std::string makeReply(JSGlobalContextRef context, const Run& run);

    static JSValueRef refuse(JSContextRef, JSObjectRef, JSObjectRef, size_t, const JSValueRef[],
                             JSValueRef*);
    static bool shouldTerminate(JSContextRef, void* engine);

    JSContextGroupRef group_;
    JSGlobalContextRef next_ = nullptr;
    bool sandboxProbes_;
    bool refused_ = false;
    bool timedOut_ = false;
};

}  // namespace wordloom::jsrunner
