#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fake_kernel.h"
#include "process_service.h"

/// What the tests of the process service share: a proc tree of invented processes, and a user who owns some.
constexpr uid_t kOwn = 1000;
constexpr uid_t kOther = 7;

/// Clock ticks of so many seconds of CPU time.
std::uint64_t ticks(double seconds);

/// So many seconds after the service was made.
ProcessService::Clock::time_point at(double seconds);

struct FakeProcess {
    std::string name = "worker";
    uid_t uid = kOwn;
    std::uint64_t utime = 0, stime = 0;  ///< clock ticks
    long rss = 0;                        ///< pages
    std::uint64_t start = 1834;          ///< clock ticks after boot
};

std::string statText(int pid, const FakeProcess& process);
std::string statusText(uid_t uid);
std::vector<int> pidsOf(const std::vector<ProcessUsage>& rows);

class ProcessServiceTest : public testing::Test {
protected:
    ProcessServiceTest();

    void put(int pid, const FakeProcess& process);
    ProcessService make() const { return ProcessService(kernel_.root(), at(0), kOwn); }

    FakeKernel kernel_;
};
