#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <future>

#include "core/base/ManualExecutor.h"
#include "core/macros/JavaScriptRunner.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

using namespace std::chrono_literals;

JavaScriptRunnerOptions helperOptions() {
    JavaScriptRunnerOptions options;
    options.helperPath = WORDLOOM_TEST_JSRUNNER_PATH;
    options.helperArguments = {"--enable-sandbox-probes"};
    return options;
}

std::string describe(const JavaScriptResult& result) {
    return result.error ? "error: " + result.error->description() : "output: " + result.output;
}

class JavaScriptRunnerTest : public ::testing::Test {
  protected:
    JavaScriptResult run(const std::string& script,
                         const std::map<std::string, std::string>& context = {},
                         const std::string& clipboard = "") {
        return runner.execute(script, context, clipboard);
    }

    JavaScriptRunner runner{helperOptions()};
};

TEST_F(JavaScriptRunnerTest, TurnsTheReturnValueIntoText) {
    const std::pair<const char*, const char*> cases[] = {
        {"return 1 + 1", "2"},
        {"return 'plain ' + 'text'", "plain text"},
        {"return {a: [1, 'x'], b: null}", R"({"a":[1,"x"],"b":null})"},
        {"return null", ""},
        {"let x = 1;", ""},
        {"return true", "true"},
        {"return () => 1", ""},
        {"return 'üñï 🎉'", "üñï 🎉"},
        {"return (async () => 'awaited')()", "awaited"},
    };
    for (const auto& [script, expected] : cases) {
        const JavaScriptResult result = run(script);
        EXPECT_EQ(describe(result), std::string("output: ") + expected) << script;
    }
}

TEST_F(JavaScriptRunnerTest, ScriptsSeeAFrozenContextAndTheClipboard) {
    const JavaScriptResult result =
        run("'use strict'; try { context.name = 'changed'; } catch (e) {}"
            "return context.name + '|' + context['with space'] + '|' + clipboard + '|' +"
            "Object.isFrozen(context)",
            {{"name", "Ada"}, {"with space", "\"quoted\"\n"}}, "copied text");

    EXPECT_EQ(describe(result), "output: Ada|\"quoted\"\n|copied text|true");
}

TEST_F(JavaScriptRunnerTest, EachScriptStartsFromAFreshGlobalObject) {
    ASSERT_EQ(describe(run("globalThis.leftover = 'secret'; return 1")), "output: 1");

    EXPECT_EQ(describe(run("return typeof leftover")), "output: undefined");
    EXPECT_GE(runner.idleHelpers(), 1u);
}

TEST_F(JavaScriptRunnerTest, ReportsScriptErrors) {
    EXPECT_EQ(describe(run("throw new Error('boom')")), "error: JavaScript error: Error: boom");
    EXPECT_EQ(describe(run("throw 'plain'")), "error: JavaScript error: plain");
    EXPECT_EQ(describe(run("return Promise.reject(new TypeError('late'))")),
              "error: JavaScript error: TypeError: late");
    EXPECT_EQ(describe(run("return 1n")),
              "error: JavaScript error: TypeError: JSON.stringify cannot serialize BigInt.");

    EXPECT_EQ(describe(run("return 'x'.repeat(4 * 1024 * 1024 + 1)")),
              "error: JavaScript error: The script's output is longer than 4,194,304 characters");

    const JavaScriptResult syntax = run("return }{");
    ASSERT_TRUE(syntax.error);
    EXPECT_EQ(syntax.error->kind(), JavaScriptError::Kind::invalidScript);
    EXPECT_EQ(syntax.error->description(), "Invalid JavaScript code");
    EXPECT_EQ(syntax.output, "");
}

TEST_F(JavaScriptRunnerTest, HostFunctionsOfOtherEnginesAreRefused) {
    for (const char* script : {"return require('fs').readFileSync('/etc/passwd', 'utf8')",
                               "try { fetch('http://example.com') } catch (e) {} return 'done'",
                               "return process.env", "return import('fs')"}) {
        const JavaScriptResult result = run(script);
        ASSERT_TRUE(result.error) << script;
        EXPECT_EQ(result.error->description(),
                  "Script attempted to access restricted functionality")
            << script;
    }
}

// The probes make real system calls from inside the helper: these tests prove the kernel filter
// itself, not only the absence of functions in the engine.
TEST_F(JavaScriptRunnerTest, SandboxRefusesFilesSocketsAndProcesses) {
    test::TemporaryDirectory directory;
    const std::string created = (directory.path() / "created").string();
    const std::string spawned = (directory.path() / "spawned").string();

    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), length), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    const std::string port = std::to_string(ntohs(address.sin_port));

    for (const std::string& probe :
         {std::string("sandboxProbe('open', '/etc/passwd')"),
          "sandboxProbe('create', '" + created + "')", "sandboxProbe('socket', '" + port + "')",
          "sandboxProbe('spawn', 'touch " + spawned + "')"}) {
        const JavaScriptResult result = run("return " + probe);
        EXPECT_EQ(describe(result), "error: Script attempted to access restricted functionality")
            << probe;
    }

    EXPECT_FALSE(std::filesystem::exists(created));
    EXPECT_FALSE(std::filesystem::exists(spawned));
    pollfd pending{listener, POLLIN, 0};
    EXPECT_EQ(::poll(&pending, 1, 0), 0) << "a connection reached the listener";
    ::close(listener);
    // A refused helper is not reused, and the next script runs normally.
    EXPECT_EQ(describe(run("return 'still fine'")), "output: still fine");
}

TEST_F(JavaScriptRunnerTest, AHelperThatDiesIsReported) {
    EXPECT_EQ(describe(run("return sandboxProbe('crash', '')")),
              "error: JavaScript error: Helper process terminated unexpectedly");
    EXPECT_EQ(runner.freeSlots(), 4u);
    EXPECT_EQ(describe(run("return 'next'")), "output: next");
}

TEST(JavaScriptRunnerLimits, AScriptThatAllocatesWithoutEndIsKilled) {
    JavaScriptRunnerOptions options = helperOptions();
    options.memoryLimitBytes = 160u * 1024 * 1024;
    JavaScriptRunner runner(options);

    const JavaScriptResult result =
        runner.execute("const hoard = []; for (;;) hoard.push(new Array(100000).fill(7));", {}, "");

    EXPECT_EQ(describe(result),
              "error: JavaScript error: Script exceeded the memory limit of 160 MB and was "
              "stopped");
    EXPECT_EQ(runner.freeSlots(), 4u);
}

TEST(JavaScriptRunnerLimits, AMissingHelperIsReported) {
    JavaScriptRunnerOptions options = helperOptions();
    options.helperPath = "/nonexistent/wordloom-jsrunner";
    JavaScriptRunner runner(options);

    EXPECT_EQ(describe(runner.execute("return 1", {}, "")),
              "error: JavaScript error: XPC proxy unavailable");
    EXPECT_EQ(runner.freeSlots(), 4u);
}

// Runs scripts against the manual clock: time-outs fire when the test advances it.
class JavaScriptRunnerClockTest : public ::testing::Test {
  protected:
    std::future<JavaScriptResult> start(const std::string& script) {
        auto promise = std::make_shared<std::promise<JavaScriptResult>>();
        runner.start(script, {}, "",
                     [promise](JavaScriptResult result) { promise->set_value(std::move(result)); });
        return promise->get_future();
    }

    ManualExecutor clock;
    JavaScriptRunner runner{helperOptions(), &clock};
};

TEST_F(JavaScriptRunnerClockTest, ARunawayScriptTimesOutAndFreesItsSlotAtOnce) {
    auto looping = start("for (;;) {}");
    EXPECT_EQ(runner.freeSlots(), 3u);

    clock.advance(5s);

    ASSERT_EQ(looping.wait_for(0s), std::future_status::ready);
    const JavaScriptResult result = looping.get();
    EXPECT_EQ(describe(result), "error: JavaScript execution timed out");
    EXPECT_DOUBLE_EQ(result.executionTime, 5.0);
    EXPECT_EQ(runner.freeSlots(), 4u);
    EXPECT_EQ(describe(start("return 'after'").get()), "output: after");
}

TEST_F(JavaScriptRunnerClockTest, TheFifthScriptWaitsForASlot) {
    std::vector<std::future<JavaScriptResult>> looping;
    for (int i = 0; i < 4; ++i) {
        looping.push_back(start("for (;;) {}"));
    }
    clock.advance(1s);
    auto fifth = start("return 'fifth ran'");
    EXPECT_EQ(runner.freeSlots(), 0u);
    EXPECT_EQ(runner.waitingRuns(), 1u);

    clock.advance(4s);  // the four time out; their slots pass to the fifth at once

    for (auto& run : looping) {
        EXPECT_EQ(describe(run.get()), "error: JavaScript execution timed out");
    }
    EXPECT_EQ(runner.waitingRuns(), 0u);
    EXPECT_EQ(describe(fifth.get()), "output: fifth ran");
    EXPECT_EQ(runner.freeSlots(), 4u);
}

TEST_F(JavaScriptRunnerClockTest, AWaitingScriptTimesOutWithoutReachingAHelper) {
    std::vector<std::future<JavaScriptResult>> looping;
    for (int i = 0; i < 4; ++i) {
        looping.push_back(start("for (;;) {}"));
    }
    runner.setMaxExecutionTime(1.0);
    auto starved = start("return 1");

    clock.advance(1s);

    // It never held a slot, so it never reached a helper.
    const JavaScriptResult result = starved.get();
    EXPECT_EQ(describe(result), "error: JavaScript execution timed out");
    EXPECT_DOUBLE_EQ(result.executionTime, 1.0);
    EXPECT_EQ(runner.waitingRuns(), 0u);
    EXPECT_EQ(runner.freeSlots(), 0u);

    clock.advance(4s);
    for (auto& run : looping) {
        EXPECT_EQ(describe(run.get()), "error: JavaScript execution timed out");
    }
    EXPECT_EQ(runner.freeSlots(), 4u);
}

TEST_F(JavaScriptRunnerClockTest, AQuietMinuteStopsTheIdleHelpersAndTheNextScriptStillRuns) {
    EXPECT_EQ(describe(start("return 1").get()), "output: 1");
    EXPECT_GE(runner.idleHelpers(), 1u);

    clock.advance(60s);

    EXPECT_EQ(runner.idleHelpers(), 0u);
    EXPECT_EQ(describe(start("return 2").get()), "output: 2");
}

TEST(JavaScriptRunnerRealClock, AShortBudgetEndsARunawayScript) {
    JavaScriptRunnerOptions options = helperOptions();
    options.maxExecutionTime = 0.2;
    JavaScriptRunner runner(options);

    EXPECT_EQ(describe(runner.execute("while (true) {}", {}, "")),
              "error: JavaScript execution timed out");
    EXPECT_EQ(runner.freeSlots(), 4u);
}

}  // namespace
}  // namespace wordloom
