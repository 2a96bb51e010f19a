#include "helpers/jsrunner/ScriptEngine.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "core/macros/JSRunnerProtocol.h"
#include "helpers/jsrunner/JSString.h"

// Exported by the engine's library but left out of its public headers.
extern "C" {
typedef bool (*JSShouldTerminateCallback)(JSContextRef context, void* data);
JS_EXPORT void JSContextGroupSetExecutionTimeLimit(JSContextGroupRef group, double limit,
                                                   JSShouldTerminateCallback callback, void* data);
}

namespace wordloom::jsrunner {
namespace {

// Far more than any snippet inserts, and small enough that the reply stays a quick frame.
constexpr std::size_t kMaxOutputLength = 4 * 1024 * 1024;
constexpr const char* kOutputTooLong = "The script's output is longer than 4,194,304 characters";

// The one engine of this process, for the callbacks that carry no data pointer.
ScriptEngine* gEngine = nullptr;

// Names that other JavaScript hosts give to file, network and process access. Here they do not
// exist; touching one marks the run as a security violation instead of a mere ReferenceError,
// even when the script catches the error.
constexpr const char* kRestrictSource = R"JS((function (global, refuse) {
    const restricted = ["require", "process", "fetch", "XMLHttpRequest", "WebSocket",
        "EventSource", "importScripts", "Worker", "SharedWorker", "Deno", "Bun", "module",
        "exports", "__dirname", "__filename", "load", "loadFile", "read", "readFile",
        "readbuffer", "readline", "writeFile", "os", "std", "system", "spawn", "exec"];
    for (const name of restricted) {
        Object.defineProperty(global, name, {
            get() { return refuse(name); },
            set(value) { refuse(name); },
            configurable: false,
        });
    }
}))JS";

// Gives the script its inputs, read-only.
constexpr const char* kProvideSource = R"JS((function (global, request) {
    const values = {};
    const given = request.context;
    if (given !== null && typeof given === "object") {
        for (const key of Object.keys(given)) {
            values[key] = String(given[key]);
        }
    }
    Object.defineProperty(global, "context", {
        value: Object.freeze(values), writable: false, configurable: false, enumerable: true });
    const clipboard = request.clipboardContents;
    Object.defineProperty(global, "clipboard", {
        value: typeof clipboard === "string" ? clipboard : "",
        writable: false, configurable: false, enumerable: true });
}))JS";

// Attaches `settle` to a returned promise. The engine runs pending reactions when control
// returns from it, so a promise that needs no outside event has settled by then.
constexpr const char* kAwaitSource = R"JS((function (value, settle) {
    if (!(value instanceof Promise)) {
        return false;
    }
    value.then(result => settle(true, result), error => settle(false, error));
    return true;
}))JS";

// Dates read the time zone the first time; everything else the engine needs afterwards (ICU's
// locale data included) is already in memory, so the warm-up stays this small and the helper
// starts fast.
constexpr const char* kWarmUpSource = R"JS((function () {
    const now = new Date();
    return now.toString() + now.getTimezoneOffset();
}))JS";

JSValueRef property(JSContextRef context, JSValueRef object, const char* name) {
    if (object == nullptr || !JSValueIsObject(context, object)) {
        return nullptr;
    }
    JSObjectRef asObject = JSValueToObject(context, object, nullptr);
    return JSObjectGetProperty(context, asObject, JSString(name).get(), nullptr);
}

JSObjectRef compile(JSContextRef context, const char* source) {
    JSValueRef value =
        JSEvaluateScript(context, JSString(source).get(), nullptr, nullptr, 1, nullptr);
    return value != nullptr ? JSValueToObject(context, value, nullptr) : nullptr;
}

std::string errnoText(const char* what) {
    return std::string(what) + " failed: " + std::strerror(errno);
}

// Makes one real system call of the kind asked for. Exists only when tests ask for it.
std::string runProbe(const std::string& kind, const std::string& argument) {
    if (kind == "open" || kind == "create") {
        const int flags = kind == "open" ? O_RDONLY : (O_WRONLY | O_CREAT | O_TRUNC);
        const int descriptor = ::open(argument.c_str(), flags | O_CLOEXEC, 0600);
        if (descriptor < 0) {
            return errnoText("open");
        }
        ::close(descriptor);
        return "opened";
    }
    if (kind == "socket") {
        const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (descriptor < 0) {
            return errnoText("socket");
        }
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(argument.c_str())));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int rc = ::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::close(descriptor);
        return rc == 0 ? "connected" : errnoText("connect");
    }
    if (kind == "spawn") {
        const pid_t child = ::fork();
        if (child == 0) {
            ::execl("/bin/sh", "sh", "-c", argument.c_str(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        return child > 0 ? "spawned" : errnoText("fork");
    }
    if (kind == "prlimit") {
        rlimit limit{};
        if (::prlimit(static_cast<pid_t>(std::atoi(argument.c_str())), RLIMIT_NOFILE, nullptr,
                      &limit) != 0) {
            return errnoText("prlimit");
        }
        return "read";
    }
    if (kind == "descriptors") {
        // poll is what the filter lets through; it marks a free descriptor POLLNVAL.
        std::vector<pollfd> descriptors(1024);
        for (std::size_t i = 0; i < descriptors.size(); ++i) {
            descriptors[i].fd = static_cast<int>(i);
        }
        if (::poll(descriptors.data(), descriptors.size(), 0) < 0) {
            return errnoText("poll");
        }
        std::string open;
        for (const pollfd& descriptor : descriptors) {
            if ((descriptor.revents & POLLNVAL) == 0) {
                open += (open.empty() ? "" : ",") + std::to_string(descriptor.fd);
            }
        }
        return open;
    }
    if (kind == "crash") {
        std::abort();
    }
    return "unknown probe";
}

JSValueRef probe(JSContextRef context, JSObjectRef, JSObjectRef, size_t count,
                 const JSValueRef arguments[], JSValueRef*) {
    const std::string kind = count > 0 ? toUtf8(context, arguments[0]) : "";
    const std::string argument = count > 1 ? toUtf8(context, arguments[1]) : "";
    return JSValueMakeString(context, JSString(runProbe(kind, argument)).get());
}

struct Settlement {
    bool settled = false;
    bool fulfilled = false;
    JSValueRef value = nullptr;
};
Settlement* gSettlement = nullptr;

JSValueRef settle(JSContextRef context, JSObjectRef, JSObjectRef, size_t count,
                  const JSValueRef arguments[], JSValueRef*) {
    if (gSettlement != nullptr && !gSettlement->settled && count >= 2) {
        gSettlement->settled = true;
        gSettlement->fulfilled = JSValueToBoolean(context, arguments[0]);
        gSettlement->value = arguments[1];
        JSValueProtect(context, arguments[1]);
    }
    return JSValueMakeUndefined(context);
}

}  // namespace

struct ScriptEngine::Run {
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::optional<std::string> output;
    std::string errorKind;
    std::string errorMessage;

    void fail(std::string_view kind, std::string message) {
        output.reset();
        errorKind = std::string(kind);
        errorMessage = std::move(message);
    }
};

ScriptEngine::ScriptEngine(bool sandboxProbes)
    : group_(JSContextGroupCreate()), sandboxProbes_(sandboxProbes) {
    gEngine = this;
}

ScriptEngine::~ScriptEngine() {
    gEngine = nullptr;
    if (next_ != nullptr) {
        JSGlobalContextRelease(next_);
    }
    JSContextGroupRelease(group_);
}

void ScriptEngine::warmUp() {
    // The first script's global object serves for the warm-up: a global object is the costliest
    // part of a start after the engine itself, and the warm-up leaves nothing on it.
    prepareNextContext();
    if (JSObjectRef function = compile(next_, kWarmUpSource)) {
        JSObjectCallAsFunction(next_, function, nullptr, 0, nullptr, nullptr);
    }
}

JSValueRef ScriptEngine::refuse(JSContextRef context, JSObjectRef, JSObjectRef, size_t count,
                                const JSValueRef arguments[], JSValueRef* exception) {
    if (gEngine != nullptr) {
        gEngine->refused_ = true;
    }
    const std::string name = count > 0 ? toUtf8(context, arguments[0]) : "it";
    const std::string message = name + " is not available to snippet scripts";
    JSValueRef text = JSValueMakeString(context, JSString(message).get());
    *exception = JSObjectMakeError(context, 1, &text, nullptr);
    return JSValueMakeUndefined(context);
}

bool ScriptEngine::shouldTerminate(JSContextRef, void* engine) {
    static_cast<ScriptEngine*>(engine)->timedOut_ = true;
    return true;
}

void ScriptEngine::prepareNextContext() {
    if (next_ != nullptr) {
        return;
    }
    next_ = JSGlobalContextCreateInGroup(group_, nullptr);
    JSObjectRef global = JSContextGetGlobalObject(next_);
    const JSValueRef arguments[] = {
        global, JSObjectMakeFunctionWithCallback(next_, nullptr, &ScriptEngine::refuse)};
    JSObjectCallAsFunction(next_, compile(next_, kRestrictSource), nullptr, 2, arguments, nullptr);
    if (sandboxProbes_) {
        JSString name("sandboxProbe");
        JSObjectSetProperty(next_, global, name.get(),
                            JSObjectMakeFunctionWithCallback(next_, name.get(), probe),
                            kJSPropertyAttributeReadOnly, nullptr);
    }
}

std::string ScriptEngine::evaluate(std::string_view requestPayload) {
    Run run;
    refused_ = false;
    timedOut_ = false;
    prepareNextContext();
    JSGlobalContextRef context = std::exchange(next_, nullptr);
    JSValueRef request = JSValueMakeFromJSONString(context, JSString(requestPayload).get());
    JSValueRef script = property(context, request, "script");
    if (script == nullptr || !JSValueIsString(context, script)) {
        run.fail(errorKind::executionFailed, "The helper received a malformed request");
    } else {
        const JSValueRef arguments[] = {JSContextGetGlobalObject(context), request};
        JSObjectCallAsFunction(context, compile(context, kProvideSource), nullptr, 2, arguments,
                               nullptr);
        const double limit =
            JSValueToNumber(context, property(context, request, "timeLimit"), nullptr);
        JSContextGroupSetExecutionTimeLimit(group_, limit > 0 ? limit : 5.0, shouldTerminate, this);
        runScript(context, run, toUtf8(context, script));
    }
    std::string reply = makeReply(context, run);
    JSGlobalContextRelease(context);
    return reply;
}

JSValueRef ScriptEngine::runScript(JSGlobalContextRef context, Run& run, std::string_view script) {
    JSValueRef exception = nullptr;
    JSObjectRef function = JSObjectMakeFunction(context, nullptr, 0, nullptr,
                                                JSString(script).get(), nullptr, 1, &exception);
    if (function == nullptr || exception != nullptr) {
        run.fail(errorKind::invalidScript, toUtf8(context, exception));
        return nullptr;
    }
    JSValueRef result = JSObjectCallAsFunction(context, function, nullptr, 0, nullptr, &exception);

    Settlement settlement;
    if (exception == nullptr && result != nullptr && JSValueIsObject(context, result)) {
        gSettlement = &settlement;
        JSObjectRef awaiter = compile(context, kAwaitSource);
        const JSValueRef arguments[] = {result,
                                        JSObjectMakeFunctionWithCallback(context, nullptr, settle)};
        const JSValueRef isPromise =
            JSObjectCallAsFunction(context, awaiter, nullptr, 2, arguments, &exception);
        gSettlement = nullptr;
        if (isPromise != nullptr && JSValueToBoolean(context, isPromise)) {
            if (!settlement.settled) {
                run.fail(errorKind::executionFailed,
                         "The script returned a promise that never settled");
                return nullptr;
            }
            JSValueUnprotect(context, settlement.value);
            if (settlement.fulfilled) {
                result = settlement.value;
            } else {
                exception = settlement.value;
                // There is no module loader: import() can only be a reach for code outside.
                const std::string message = toUtf8(context, exception);
                if (message.starts_with("Error: Could not import the module")) {
                    refused_ = true;
                }
            }
        }
    }

    if (refused_) {
        run.fail(errorKind::securityViolation, "The script used restricted functionality");
    } else if (timedOut_) {
        run.fail(errorKind::timeout, "The script ran past its time limit");
    } else if (exception != nullptr) {
        run.fail(errorKind::executionFailed, toUtf8(context, exception));
    } else if (result == nullptr || JSValueIsUndefined(context, result) ||
               JSValueIsNull(context, result)) {
        run.output = "";
    } else if (JSValueIsString(context, result)) {
        JSString text = JSString::adopt(JSValueToStringCopy(context, result, nullptr));
        if (JSStringGetLength(text.get()) > kMaxOutputLength) {
            run.fail(errorKind::executionFailed, kOutputTooLong);
        } else {
            run.output = text.utf8();
        }
    } else {
        JSStringRef json = JSValueCreateJSONString(context, result, 0, &exception);
        if (exception != nullptr) {
            if (json != nullptr) {
                JSStringRelease(json);
            }
            run.fail(errorKind::executionFailed, toUtf8(context, exception));
        } else {
            // Functions and symbols have no JSON form: JSON.stringify gives undefined.
            JSString text = json != nullptr ? JSString::adopt(json) : JSString("");
            if (JSStringGetLength(text.get()) > kMaxOutputLength) {
                run.fail(errorKind::executionFailed, kOutputTooLong);
            } else {
                run.output = text.utf8();
            }
        }
    }
    return result;
}

std::string ScriptEngine::makeReply(JSGlobalContextRef context, const Run& run) {
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - run.start).count();
    JSObjectRef reply = JSObjectMake(context, nullptr, nullptr);
    auto set = [&](std::string_view name, JSValueRef value) {
        JSObjectSetProperty(context, reply, JSString(name).get(), value, kJSPropertyAttributeNone,
                            nullptr);
    };
    auto text = [&](const std::string& value) {
        return JSValueMakeString(context, JSString(value).get());
    };
    if (run.output) {
        set(key::output, text(*run.output));
    } else {
        set(key::errorKind, text(run.errorKind));
        set(key::errorMessage, text(run.errorMessage));
    }
    set(key::executionTime, JSValueMakeNumber(context, seconds));
    JSStringRef json = JSValueCreateJSONString(context, reply, 0, nullptr);
    return json != nullptr ? JSString::adopt(json).utf8() : std::string();
}

std::string ScriptEngine::failureReply(std::string_view kind, std::string_view message) {
    JSGlobalContextRef context = JSGlobalContextCreateInGroup(group_, nullptr);
    Run run;
    run.fail(kind, std::string(message));
    std::string reply = makeReply(context, run);
    JSGlobalContextRelease(context);
    return reply;
}

}  // namespace wordloom::jsrunner
