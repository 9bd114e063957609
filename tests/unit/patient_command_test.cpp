#include "patient_command.h"

#include <gtest/gtest.h>

#include <thread>

#include "fake_programs.h"

using namespace std::chrono_literals;
using Clock = PatientCommand::Clock;

namespace {

const PatientCommand::Arguments kQuestion{"tool", "figures"};
const PatientCommand::Arguments kOther{"tool", "names"};
constexpr CommandLimits kShort{500ms, 60'000ms};

/// A program that runs until it is told what to answer, and that notes when it finds itself not alone.
constexpr const char* kHanging =
    "mkdir running || echo >twice\n"
    "while ! [ -e answer ]; do sleep 0.02; done\n"
    "cat answer; rmdir running";

/// The same, but promptly.
constexpr const char* kHealthy = "mkdir running || echo >twice; echo fresh; rmdir running";

class PatientCommandTest : public testing::Test {
protected:
    std::string ask(const PatientCommand::Arguments& question = kQuestion) {
        const auto start = Clock::now();
        const auto answer = command.ask(question, start + kShort.wait);
        held_up = Clock::now() - start;
        return answer ? answer->output : "none";
    }

    std::string askUntilAnswered(const PatientCommand::Arguments& question = kQuestion) {
        std::string answer = ask(question);
        for (int tries = 0; answer == "none" && tries < 500; ++tries) {
            std::this_thread::sleep_for(10ms);
            answer = ask(question);
        }
        return answer;
    }

    void hang() {
        programs.script("tool", kHanging);
        EXPECT_EQ(ask(), "none");
        EXPECT_GE(held_up, kShort.wait);
    }

    void letItAnswer() { programs.file("answer", "late\n"); }

    FakePrograms programs;
    PatientCommand command{kShort};
    Clock::duration held_up{};
};

}  // namespace

TEST_F(PatientCommandTest, AHealthyProgramIsAskedEachTime) {
    programs.script("tool", kHealthy);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(ask(), "fresh\n");
    EXPECT_TRUE(command.prompt());
    EXPECT_EQ(programs.runs().size(), 3U);
    EXPECT_FALSE(hasChildren());
}

TEST_F(PatientCommandTest, AMissingProgramIsAnAnswerToo) {
    const auto answer = command.ask({"missing"}, Clock::now() + 5s);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->output, "");
    EXPECT_EQ(answer->exit_status, ChildProcess::kNotStarted);
    EXPECT_TRUE(command.prompt());
}

TEST_F(PatientCommandTest, AHangingProgramHoldsUpOnceAndIsNotStartedAgain) {
    hang();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ask(), "none");
        EXPECT_EQ(ask(kOther), "none");
        EXPECT_LT(held_up, kShort.wait);
    }
    EXPECT_EQ(programs.runs().size(), 1U);
}

TEST_F(PatientCommandTest, ALateAnswerIsHandedOutAndTheNextOneNotWaitedFor) {
    hang();
    letItAnswer();
    EXPECT_EQ(askUntilAnswered(), "late\n");
    EXPECT_FALSE(hasChildren());
    EXPECT_FALSE(command.prompt()) << "what was waited for in vain restores no trust";

    programs.remove("answer");
    EXPECT_EQ(ask(), "none");
    EXPECT_LT(held_up, kShort.wait) << "the second slow answer must not hold anyone up";
    letItAnswer();
    EXPECT_EQ(askUntilAnswered(), "late\n");
    EXPECT_EQ(programs.runs().size(), 2U);
    EXPECT_FALSE(programs.exists("twice"));
}

TEST_F(PatientCommandTest, AnAnswerInTimeRestoresTrust) {
    hang();
    letItAnswer();
    askUntilAnswered();
    programs.script("tool", kHealthy);
    EXPECT_EQ(askUntilAnswered(), "fresh\n");
    EXPECT_TRUE(command.prompt());
    EXPECT_EQ(ask(), "fresh\n") << "in one call now";
    EXPECT_FALSE(programs.exists("twice"));
}

TEST_F(PatientCommandTest, ASlowProgramIsNeverWaitedForAgain) {
    hang();
    for (int round = 0; round < 2; ++round) {
        letItAnswer();
        EXPECT_EQ(askUntilAnswered(), "late\n");
        programs.remove("answer");
        EXPECT_EQ(ask(), "none");
        std::this_thread::sleep_for(kShort.wait * 3 / 2);
        EXPECT_EQ(ask(), "none");
        EXPECT_LT(held_up, kShort.wait);
    }
    EXPECT_FALSE(command.prompt());
}

TEST_F(PatientCommandTest, EachRelapseAsksForMoreProof) {
    hang();
    letItAnswer();
    askUntilAnswered();
    programs.script("tool", kHealthy);
    askUntilAnswered();
    EXPECT_TRUE(command.prompt());

    programs.remove("answer");
    hang();
    letItAnswer();
    askUntilAnswered();
    programs.script("tool", kHealthy);
    askUntilAnswered();
    EXPECT_FALSE(command.prompt());
    askUntilAnswered();
    EXPECT_TRUE(command.prompt());
}

TEST_F(PatientCommandTest, PreparingStartsTheNextAnswerOnlyWhereItIsNotWaitedFor) {
    programs.script("tool", kHealthy);
    command.prepare(kQuestion);
    EXPECT_TRUE(programs.runs().empty());
    hang();
    letItAnswer();
    askUntilAnswered();
    programs.forgetRuns();
    programs.script("tool", kHealthy);
    command.prepare(kQuestion);
    command.prepare(kQuestion);
    EXPECT_EQ(askUntilAnswered(), "fresh\n");
    EXPECT_EQ(programs.runs().size(), 1U);
}

TEST_F(PatientCommandTest, AnAnswerToAnotherQuestionIsDropped) {
    hang();
    letItAnswer();
    programs.script("tool", kHealthy);
    EXPECT_EQ(askUntilAnswered(kOther), "fresh\n");
    EXPECT_EQ(programs.runs(), (std::vector<std::string>{"tool figures", "tool names"}));
}

TEST_F(PatientCommandTest, CollectingStartsNothing) {
    EXPECT_FALSE(command.collect(kQuestion));
    EXPECT_TRUE(programs.runs().empty());
    hang();
    letItAnswer();
    std::optional<PatientCommand::Answer> answer;
    for (int tries = 0; !answer && tries < 500; ++tries) {
        std::this_thread::sleep_for(10ms);
        answer = command.collect(kQuestion);
    }
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->output, "late\n");
    EXPECT_FALSE(command.collect(kQuestion));
    EXPECT_EQ(programs.runs().size(), 1U);
}

TEST(PatientCommand, AProgramThatNeverEndsIsKilledBeforeTheNextIsStarted) {
    FakePrograms programs;
    programs.script("tool", "[ -e healthy ] && echo fresh && exit; echo stuck; exec sleep 20");
    PatientCommand command(CommandLimits{50ms, 150ms});
    EXPECT_FALSE(command.ask(kQuestion, Clock::now() + 50ms));
    programs.file("healthy", "");
    std::optional<PatientCommand::Answer> answer;
    for (int tries = 0; !answer && tries < 500; ++tries) {
        std::this_thread::sleep_for(10ms);
        answer = command.ask(kQuestion, Clock::now() + 50ms);
    }
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->output, "fresh\n") << "what a killed program wrote is no answer";
    EXPECT_EQ(programs.runs().size(), 2U);
    EXPECT_FALSE(hasChildren());
}

TEST(PatientCommand, GoingAwayEndsAHangingProgramAtOnce) {
    FakePrograms programs;
    programs.script("tool", "exec sleep 20");
    const auto before = openDescriptors();
    const auto start = Clock::now();
    {
        PatientCommand command(kShort);
        EXPECT_FALSE(command.ask(kQuestion, start + 50ms));
    }
    EXPECT_LT(Clock::now() - start, 5s);
    EXPECT_FALSE(hasChildren());
    EXPECT_EQ(openDescriptors(), before);
}
