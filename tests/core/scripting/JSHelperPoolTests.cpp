#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

#include "core/base/ManualExecutor.h"
#include "core/macros/JSHelperPool.h"
#include "core/macros/JSHelperProcessZygote.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

using namespace std::chrono_literals;

JSHelperLaunch testLaunch() {
    JSHelperLaunch launch;
    launch.executable = WORDLOOM_TEST_JSRUNNER_PATH;
    launch.arguments = {"--enable-sandbox-probes"};
    return launch;
}

// The script's output, or what went wrong. The bound only keeps a broken helper from hanging
// the suite; no timing is asserted.
std::string runOn(JSHelperProcess& helper, const std::string& script) {
    auto promise = std::make_shared<std::promise<JSHelperOutcome>>();
    std::future<JSHelperOutcome> future = promise->get_future();
    if (auto error = helper.send(
            JSRunnerRequest{script, {}, "", 5.0},
            [promise](JSHelperOutcome outcome) { promise->set_value(std::move(outcome)); })) {
        return "send failed: " + *error;
    }
    if (future.wait_for(20s) != std::future_status::ready) {
        return "no answer";
    }
    const JSHelperOutcome outcome = future.get();
    if (!outcome.reply) {
        return "helper ended";
    }
    return outcome.reply->output
               ? *outcome.reply->output
               : outcome.reply->errorKind + ": " + outcome.reply->errorMessage.value_or("");
}

// Whether the process behind `pidDescriptor` ends within the bound.
bool endsSoon(int pidDescriptor) {
    pollfd exited{pidDescriptor, POLLIN, 0};
    return ::poll(&exited, 1, 20000) == 1;
}

int openPidDescriptor(pid_t pid) {
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}

pid_t parentOf(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(stat, line);
    // The command name may hold spaces; the fields after its closing parenthesis do not.
    std::istringstream fields(line.substr(line.rfind(')') + 2));
    std::string state;
    pid_t parent = -1;
    fields >> state >> parent;
    return parent;
}

std::vector<std::string> descriptorTargets(pid_t pid) {
    std::vector<std::string> targets;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd")) {
        std::error_code error;
        targets.push_back(std::filesystem::read_symlink(entry.path(), error).string());
    }
    return targets;
}

class HelperStartTest : public ::testing::TestWithParam<bool> {
  protected:
    std::shared_ptr<JSHelperProcess> startHelper() {
        if (!GetParam()) {
            return JSHelperProcess::launch(testLaunch());
        }
        auto helper = zygote.fork();
        EXPECT_TRUE(helper) << "the zygote gave no helper";
        return helper;
    }

    JSHelperProcessLauncher launcher;
    JSHelperProcessZygote zygote{testLaunch(), launcher, 20000};
};

TEST_P(HelperStartTest, AHelperIsConfinedHoweverItStarts) {
    // A descriptor the helper must not inherit, deliberately left open across exec and fork.
    test::TemporaryDirectory directory;
    const std::string marker = (directory.path() / "marker").string();
    const int leaked = ::open(marker.c_str(), O_CREAT | O_RDWR, 0600);
    ASSERT_GE(leaked, 0);

    auto helper = startHelper();
    ASSERT_TRUE(helper);
    EXPECT_EQ(runOn(*helper, "return 6 * 7"), "42");

    EXPECT_EQ(::getpgid(helper->pid()), helper->pid()) << "not the leader of its own group";
    EXPECT_EQ(parentOf(helper->pid()), GetParam() ? zygote.pid() : ::getpid());
    for (const std::string& target : descriptorTargets(helper->pid())) {
        EXPECT_NE(target, marker) << "the helper inherited a descriptor";
    }
    ::close(leaked);

    const std::string foreignLimit =
        runOn(*helper, "return sandboxProbe('prlimit', '" + std::to_string(::getpid()) + "')");
    EXPECT_TRUE(foreignLimit.starts_with("securityViolation: The sandbox refused system call"))
        << foreignLimit;
}

TEST_P(HelperStartTest, EveryHelperStartsFromAFreshEngine) {
    auto first = startHelper();
    auto second = startHelper();
    ASSERT_TRUE(first && second);
    EXPECT_NE(first->pid(), second->pid());
    EXPECT_EQ(runOn(*first, "globalThis.mark = 1; Math.leak = 'first'; return 'set'"), "set");
    EXPECT_EQ(runOn(*second, "return String(Math.leak)"), "undefined");
    EXPECT_EQ(runOn(*second, "return sandboxProbe('prlimit', '0')"), "read");
}

TEST_P(HelperStartTest, KillingAHelperEndsItInTheMiddleOfAScript) {
    auto helper = startHelper();
    ASSERT_TRUE(helper);
    const int pidDescriptor = openPidDescriptor(helper->pid());
    ASSERT_GE(pidDescriptor, 0);
    bool answered = false;
    ASSERT_FALSE(helper->send(JSRunnerRequest{"for (;;) {}", {}, "", 60.0},
                              [&answered](JSHelperOutcome) { answered = true; }));

    helper->kill();

    EXPECT_TRUE(endsSoon(pidDescriptor)) << "the looping helper still runs";
    ::close(pidDescriptor);
    EXPECT_FALSE(helper->isReusable());
    helper.reset();  // joins the watcher, so `answered` is settled
    EXPECT_FALSE(answered) << "a killed helper's request is not answered";
}

std::string startName(const ::testing::TestParamInfo<bool>& started) {
    return started.param ? "FromZygote" : "Direct";
}

INSTANTIATE_TEST_SUITE_P(DirectAndFromZygote, HelperStartTest, ::testing::Bool(), startName);

TEST(JSHelperProcessZygote, ItsHelpersDieWithItAndAFailedZygoteIsReplaced) {
    JSHelperProcessLauncher launcher;
    JSHelperProcessZygote zygote(testLaunch(), launcher, 20000);
    auto helper = zygote.fork();
    ASSERT_TRUE(helper);
    const int helperDescriptor = openPidDescriptor(helper->pid());
    ASSERT_GE(helperDescriptor, 0);
    const pid_t firstZygote = zygote.pid();

    ::kill(firstZygote, SIGKILL);

    EXPECT_TRUE(endsSoon(helperDescriptor)) << "a helper outlived its zygote";
    ::close(helperDescriptor);
    EXPECT_EQ(zygote.fork(), nullptr) << "the dead zygote is noticed on the next request";
    EXPECT_FALSE(zygote.isRunning());
    auto replacement = zygote.fork();
    ASSERT_TRUE(replacement);
    EXPECT_NE(zygote.pid(), firstZygote);
    EXPECT_EQ(runOn(*replacement, "return 'again'"), "again");
}

TEST(JSHelperProcessZygote, AZygoteThatDoesNotAnswerInTimeIsStopped) {
    JSHelperProcessLauncher launcher;
    JSHelperProcessZygote zygote(testLaunch(), launcher, 0);

    EXPECT_EQ(zygote.fork(), nullptr);
    EXPECT_FALSE(zygote.isRunning());
}

TEST(JSHelperPoolZygote, AScriptStillGetsAHelperWhenTheZygoteHasDied) {
    ManualExecutor clock;
    JSHelperPool pool(testLaunch(), JSHelperPoolOptions{}, clock);
    auto first = pool.take();
    const pid_t zygote = pool.zygotePid();
    ASSERT_GT(zygote, 0);
    EXPECT_EQ(parentOf(first->pid()), zygote);

    ::kill(zygote, SIGKILL);
    auto fallback = pool.take();

    EXPECT_EQ(parentOf(fallback->pid()), ::getpid()) << "started directly";
    EXPECT_EQ(runOn(*fallback, "return 'direct'"), "direct");
    auto fromNewZygote = pool.take();
    EXPECT_NE(pool.zygotePid(), zygote);
    EXPECT_EQ(parentOf(fromNewZygote->pid()), pool.zygotePid());
    EXPECT_EQ(runOn(*fromNewZygote, "return 'forked'"), "forked");
}

// A helper dies with the thread that started it, so the pool must not start it on the thread
// that happens to ask: that may be the watcher of another helper, about to end.
TEST(JSHelperPoolThreads, HelpersOutliveTheThreadThatAskedForThem) {
    ManualExecutor clock;
    for (const bool useZygote : {false, true}) {
        JSHelperPoolOptions options;
        options.useZygote = useZygote;
        JSHelperPool pool(testLaunch(), options, clock);
        std::shared_ptr<JSHelperProcess> helper;
        std::thread([&] { helper = pool.take(); }).join();

        EXPECT_EQ(runOn(*helper, "return 'alive'"), "alive") << "zygote: " << useZygote;
    }
}

class JSHelperPoolRetirementTest : public ::testing::Test {
  protected:
    JSHelperPoolOptions options() {
        JSHelperPoolOptions options;
        options.idleLifetime = 60s;
        return options;
    }

    ManualExecutor clock;
    JSHelperPool pool{testLaunch(), options(), clock};
};

TEST_F(JSHelperPoolRetirementTest, AnIdleHelperIsStoppedAfterAQuietMinute) {
    auto helper = pool.take();
    ASSERT_EQ(runOn(*helper, "return 1"), "1");
    const int pidDescriptor = openPidDescriptor(helper->pid());
    ASSERT_GE(pidDescriptor, 0);
    pool.giveBack(helper);
    ASSERT_EQ(pool.idleCount(), 1u);

    clock.advance(59s);
    EXPECT_EQ(pool.idleCount(), 1u);
    EXPECT_TRUE(helper->isReusable());

    clock.advance(1s);
    EXPECT_EQ(pool.idleCount(), 0u);
    EXPECT_FALSE(helper->isReusable());
    EXPECT_TRUE(endsSoon(pidDescriptor)) << "the retired helper still runs";
    ::close(pidDescriptor);
    EXPECT_EQ(clock.pendingTimerCount(), 0u) << "nothing left to retire, nothing scheduled";
    EXPECT_GT(pool.zygotePid(), 0) << "the zygote stays for the next cold start";

    auto next = pool.take();
    EXPECT_NE(next->pid(), helper->pid());
    EXPECT_EQ(runOn(*next, "return 'fresh'"), "fresh");
}

TEST_F(JSHelperPoolRetirementTest, EachUseRestartsAHelpersQuietPeriod) {
    auto busy = pool.take();
    auto quiet = pool.take();
    pool.giveBack(quiet);
    pool.giveBack(busy);

    clock.advance(40s);
    auto again = pool.take();
    ASSERT_EQ(again, busy) << "the most recently used helper is taken first";
    ASSERT_EQ(runOn(*again, "return 2"), "2");
    pool.giveBack(again);

    clock.advance(20s);  // `quiet` has idled 60 s, `busy` 20 s
    EXPECT_EQ(pool.idleCount(), 1u);
    EXPECT_FALSE(quiet->isReusable());
    EXPECT_TRUE(busy->isReusable());

    clock.advance(40s);
    EXPECT_EQ(pool.idleCount(), 0u);
    EXPECT_FALSE(busy->isReusable());
}

}  // namespace
}  // namespace wordloom
