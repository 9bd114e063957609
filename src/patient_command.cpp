#include "patient_command.h"

#include <algorithm>

namespace {

/// With a program whose answers take just about the limit, trust comes and goes; each time it goes, twice as
/// many timely answers are asked for, up to this many.
constexpr int kMostTimelyNeeded = 32;

}  // namespace

std::optional<PatientCommand::Answer> PatientCommand::ask(const Arguments& question,
                                                          Clock::time_point deadline) {
    if (auto late = collect(question)) return late;
    if (child_) return std::nullopt;
    start(question);
    if (!prompt_) return std::nullopt;
    if (child_->finishBy(deadline)) return takeAnswer();
    distrust();
    return std::nullopt;
}

std::optional<PatientCommand::Answer> PatientCommand::collect(const Arguments& question) {
    if (!child_) return std::nullopt;
    const auto now = Clock::now();
    if (!child_->finishBy(now)) {
        if (now - started_ > limits_.give_up && !given_up_) {
            child_->kill();
            given_up_ = true;
        }
        return std::nullopt;
    }
    judgeLateEnd();
    Answer answer = takeAnswer();
    if (given_up_ || question != question_) return std::nullopt;
    return answer;
}

void PatientCommand::prepare(const Arguments& question) {
    if (!prompt_ && !child_) start(question);
}

void PatientCommand::start(const Arguments& question) {
    question_ = question;
    started_ = Clock::now();
    overdue_ = false;
    given_up_ = false;
    child_.emplace(question);
}

PatientCommand::Answer PatientCommand::takeAnswer() {
    Answer answer{child_->output(), child_->exitStatus()};
    child_.reset();
    return answer;
}

void PatientCommand::distrust() {
    overdue_ = true;
    prompt_ = false;
    timely_seen_ = 0;
    timely_needed_ = std::clamp(timely_needed_ * 2, 1, kMostTimelyNeeded);
}

void PatientCommand::judgeLateEnd() {
    // How long the program took is known only as precisely as it is looked at, which may be every `wait`: a
    // quarter on top takes in a timer that fires a little late.
    const bool timely = !overdue_ && Clock::now() - started_ <= limits_.wait + limits_.wait / 4;
    timely_seen_ = timely ? timely_seen_ + 1 : 0;
    if (timely_seen_ >= timely_needed_) prompt_ = true;
}
