#include "child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <thread>

#include "fake_programs.h"

using namespace std::chrono_literals;
using Clock = ChildProcess::Clock;

namespace {

constexpr auto kLong = 20s;  // never waited for in full

struct Outcome {
    std::string output;
    int exit_status = -1;
};

Outcome runToEnd(const ChildProcess::Arguments& arguments) {
    ChildProcess child(arguments);
    EXPECT_TRUE(child.finishBy(Clock::now() + kLong));
    return {child.output(), child.exitStatus()};
}

template <typename Function>
Clock::duration timeOf(Function function) {
    const auto start = Clock::now();
    function();
    return Clock::now() - start;
}

}  // namespace

TEST(ChildProcess, CollectsOutputAndExitStatus) {
    FakePrograms programs;
    programs.script("tool", "echo one; echo two; exit 9");
    const Outcome outcome = runToEnd({"tool", "a b", "$(touch evil)", "'"});
    EXPECT_EQ(outcome.output, "one\ntwo\n");
    EXPECT_EQ(outcome.exit_status, 9);
    EXPECT_EQ(programs.runs(), std::vector<std::string>{"tool a b $(touch evil) '"});
    EXPECT_FALSE(programs.exists("evil"));
}

TEST(ChildProcess, DiscardsTheErrorOutputAndReadsNothing) {
    FakePrograms programs;
    programs.script("tool", "echo complaint >&2; cat; echo end");
    EXPECT_EQ(runToEnd({"tool"}).output, "end\n");
}

TEST(ChildProcess, AProgramThatCanNotBeStartedEndsAtOnce) {
    FakePrograms programs;
    programs.file("secret", "#!/bin/sh\necho no\n", /*executable=*/false);
    programs.file("orphan", "#!/no/such/interpreter\n");
    for (const char* name : {"missing", "secret", "orphan", ""}) {
        const Outcome outcome = runToEnd({name});
        EXPECT_EQ(outcome.output, "") << name;
        EXPECT_EQ(outcome.exit_status, ChildProcess::kNotStarted) << name;
    }
    EXPECT_FALSE(hasChildren());
}

TEST(ChildProcess, RunsAScriptWithoutAnInterpreterLineAsTheShellWould) {
    FakePrograms programs;
    programs.file("tool", "echo \"$1;\"\n");
    setenv("PATH", (programs.path() + ":/usr/bin:/bin").c_str(), 1);
    EXPECT_EQ(runToEnd({"tool", "a  $(b) \"c"}).output, "a  $(b) \"c;\n");
}

TEST(ChildProcess, KnowsASignalledEnd) {
    FakePrograms programs;
    programs.script("tool", "echo begun; kill -KILL $$");
    const Outcome outcome = runToEnd({"tool"});
    EXPECT_EQ(outcome.output, "begun\n");
    EXPECT_EQ(outcome.exit_status, 128 + SIGKILL);
}

TEST(ChildProcess, KeepsWholeLinesOfALargeOutput) {
    FakePrograms programs;
    programs.script("tool", "yes 0123456789abcde | head -c 3000000; echo >done");
    const Outcome outcome = runToEnd({"tool"});
    EXPECT_EQ(outcome.output.size(), ChildProcess::kMaxOutputBytes);
    EXPECT_TRUE(programs.exists("done")) << "a full pipe must not stop the program";
    programs.script("tool", "printf abc; yes 0123456789abcde | head -c 3000000");
    EXPECT_EQ(runToEnd({"tool"}).output.back(), '\n');
    programs.script("tool", "head -c 3000000 /dev/zero");
    EXPECT_EQ(runToEnd({"tool"}).output, "");
}

TEST(ChildProcess, WaitsNoLongerThanAsked) {
    FakePrograms programs;
    programs.script("sleeper", "echo begun; exec sleep 20");
    programs.script("talker", "exec yes");
    programs.script("closer", "exec >&- ; exec sleep 20");
    for (const char* name : {"sleeper", "talker", "closer"}) {
        ChildProcess child({name});
        EXPECT_FALSE(child.finishBy({})) << name;
        const auto took = timeOf([&] { EXPECT_FALSE(child.finishBy(Clock::now() + 100ms)) << name; });
        EXPECT_GE(took, 100ms) << name;
        EXPECT_LT(took, 2s) << name;
    }
    EXPECT_FALSE(hasChildren());
}

TEST(ChildProcess, DoesNotWaitForWhatTheProgramLeavesBehind) {
    FakePrograms programs;
    programs.script("tool", "sleep 3 & echo answer");
    Outcome outcome;
    EXPECT_LT(timeOf([&] { outcome = runToEnd({"tool"}); }), 2s);
    EXPECT_EQ(outcome.output, "answer\n");
}

TEST(ChildProcess, KillingEndsTheWholeGroup) {
    FakePrograms programs;
    programs.script("tool", "(echo >begun; sleep 0.3; echo >survived) & sleep 20");
    ChildProcess child({"tool"});
    while (!programs.exists("begun"))
        EXPECT_FALSE(child.finishBy(Clock::now() + 10ms));
    child.kill();
    EXPECT_TRUE(child.finishBy(Clock::now() + kLong));
    EXPECT_EQ(child.exitStatus(), 128 + SIGKILL);
    EXPECT_FALSE(hasChildren());
    ChildProcess({"tool"}).finishBy(Clock::now() + 50ms);
    EXPECT_FALSE(hasChildren());
    std::this_thread::sleep_for(400ms);
    EXPECT_FALSE(programs.exists("survived"));
}

TEST(ChildProcess, LeavesNoDescriptorBehindAndHandsNoneOn) {
    FakePrograms programs;
    programs.script("tool", "exec sleep 20");
    const auto before = openDescriptors();
    {
        ChildProcess child({"tool"});
        EXPECT_GT(openDescriptors().size(), before.size());
        for (const int fd : openDescriptors())
            EXPECT_TRUE(before.count(fd) || fcntl(fd, F_GETFD) == FD_CLOEXEC) << fd;
    }
    for (int i = 0; i < 20; ++i)
        ChildProcess({"missing"}).finishBy(Clock::now() + kLong);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ChildProcess, GivesTheProgramItsUsualSignals) {
    FakePrograms programs;
    programs.script("tool", "kill -$1 $$; echo survived");
    for (const int number : {SIGPIPE, SIGXFSZ}) {
        const ChildProcess::Arguments tool{"tool", std::to_string(number)};
        sigset_t its_signal;
        sigset_t mask_before;
        sigemptyset(&its_signal);
        sigaddset(&its_signal, number);
        const auto handler_before = signal(number, SIG_IGN);
        const Outcome despite_ignoring = runToEnd(tool);
        sigprocmask(SIG_BLOCK, &its_signal, &mask_before);
        const Outcome despite_blocking = runToEnd(tool);
        sigprocmask(SIG_SETMASK, &mask_before, nullptr);
        signal(number, handler_before);
        EXPECT_EQ(despite_ignoring.exit_status, 128 + number);
        EXPECT_EQ(despite_blocking.exit_status, 128 + number);
    }
}

TEST(ChildProcess, SurvivesAKernelThatForgetsOurChildren) {
    FakePrograms programs;
    programs.script("tool", "echo answer; exit 3");
    const auto handler_before = signal(SIGCHLD, SIG_IGN);
    const Outcome outcome = runToEnd({"tool"});
    signal(SIGCHLD, handler_before);
    EXPECT_EQ(outcome.output, "answer\n");
    EXPECT_EQ(outcome.exit_status, 0);
}

TEST(ProgramOnPath, FindsWhatTheShellWouldFind) {
    FakePrograms programs;
    programs.script("tool", "").file("readme", "", /*executable=*/false);
    FakeKernel tree;
    tree.directory("/folder/nested");
    EXPECT_TRUE(programOnPath("tool"));
    EXPECT_FALSE(programOnPath("readme"));
    EXPECT_FALSE(programOnPath("missing"));
    setenv("PATH", (tree.root() + "/folder:" + programs.path()).c_str(), 1);
    EXPECT_TRUE(programOnPath("tool"));
    EXPECT_FALSE(programOnPath("nested")) << "a directory is no program";
    setenv("PATH", "", 1);
    EXPECT_FALSE(programOnPath("tool"));
    unsetenv("PATH");
    EXPECT_TRUE(programOnPath("sh"));
}
