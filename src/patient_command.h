#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "child_process.h"

/// How much of the caller's time an external program may take.
struct CommandLimits {
    std::chrono::milliseconds wait{2000};       ///< the caller is held up this long at most
    std::chrono::milliseconds give_up{60'000};  ///< a program that runs longer is killed
};

/// An external program that is asked again and again by a caller who can't afford to be held up. Never runs
/// more than one copy of it.
///
/// A program that answers in time is simply waited for. One that once did not (a driver may keep it asleep in
/// the kernel where not even a signal reaches it) is left running, every question stays without an answer
/// until it has ended, and from then on questions are started without waiting and answered at a later call;
/// only when such answers come in time again is it waited for again. So a program that is always slow holds
/// its caller up once and not now and then for ever.
class PatientCommand {
public:
    using Arguments = ChildProcess::Arguments;
    using Clock = ChildProcess::Clock;

    struct Answer {
        std::string output;
        int exit_status = 0;  ///< ChildProcess::kNotStarted when it could not be started
    };

    explicit PatientCommand(CommandLimits limits) : limits_(limits) {}

    /// Runs the program with these arguments (the first is its name) and returns its answer, or the answer of
    /// an earlier run for the same arguments that came late; none while there is none. Waits until `deadline`
    /// at most, and only for a program that is prompt().
    std::optional<Answer> ask(const Arguments& question, Clock::time_point deadline);

    /// The answer to an earlier ask() if it has come meanwhile. Starts nothing and waits for nothing; an
    /// answer to another question is dropped.
    std::optional<Answer> collect(const Arguments& question);

    /// Starts the program now for the next ask() of the same question, where that one would not wait for it.
    void prepare(const Arguments& question);

    /// Whether the program is trusted to answer while the caller waits.
    bool prompt() const { return prompt_; }

private:
    void start(const Arguments& question);
    Answer takeAnswer();
    void distrust();
    void judgeLateEnd();

    CommandLimits limits_;
    std::optional<ChildProcess> child_;
    Arguments question_;           ///< what child_ was asked
    Clock::time_point started_{};  ///< when
    bool overdue_ = false;         ///< child_ was waited for in vain
    bool given_up_ = false;        ///< child_ was killed
    bool prompt_ = true;
    int timely_needed_ = 0;  ///< answers in time that restore trust
    int timely_seen_ = 0;
};
