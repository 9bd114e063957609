#include "crash_handler.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "allocated_bytes.h"
#include "exhaust_stack.h"
#include "fake_programs.h"
#include "maker.h"
#include "scoped_environment.h"
#include "temporary_directory.h"

namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr int kPatienceMs = 30'000;
const std::string kTime = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} UTC";

/// The text with each "%xx" as the byte it stands for.
std::string decoded(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            plain.push_back(static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)));
            i += 2;
        } else {
            plain.push_back(text[i]);
        }
    }
    return plain;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

/// For the crash of a child: whoever reads the environment, as the handler does in the middle of its report,
/// is held in `hold` before it can go on.
struct HeldEnvironment {
    char** page = nullptr;
    std::size_t bytes = 0;
    std::function<void()> hold;
    std::atomic<bool> read = false;
} g_held;

void holdEnvironmentReads(std::function<void()> hold) {
    std::size_t entries = 1;  // the null at the end
    for (char** entry = environ; *entry != nullptr; ++entry)
        ++entries;
    g_held.bytes = entries * sizeof(char*);
    g_held.page = static_cast<char**>(
        // cppcheck-suppress invalidFunctionArg ; what is no file has no descriptor
        mmap(nullptr, g_held.bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    std::copy_n(environ, entries, g_held.page);
    g_held.hold = std::move(hold);
    signal(SIGSEGV, [](int) {
        g_held.read = true;
        g_held.hold();
        mprotect(g_held.page, g_held.bytes, PROT_READ);
    });
    mprotect(g_held.page, g_held.bytes, PROT_NONE);
    environ = g_held.page;
}

void awaitEnvironmentRead() {
    while (!g_held.read)
        sched_yield();
}

class CrashHandlerTest : public testing::Test {
protected:
    CrashHandlerTest() { programs_.script("python3", "exec /usr/bin/python3 \"$@\""); }

    /// A program that writes down its arguments, one a line, before it does the rest.
    void addProgram(const std::string& name, const std::string& rest) {
        programs_.script(name, "printf '%s\\n' \"$@\" >" + name + ".arguments\n" + rest);
    }
    std::vector<std::string> argumentsOf(const std::string& name) const {
        return linesOf(contentOf(programs_.path() + "/" + name + ".arguments"));
    }
    /// What the user's answer in the dialog would be.
    void addDialog(const std::string& description, int status = 0) {
        writeFile(programs_.path() + "/description", description);
        addProgram("zenity", "cat description; exit " + std::to_string(status));
        addProgram("xdg-open", "");
    }

    /// Has a process of its own crash in some way, and waits for it and for the dialog it may have left
    /// behind. The status is waitpid()'s.
    int statusOfCrash(const std::function<void()>& crash) const {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe(ends.data()), 0);
        const pid_t child = fork();
        if (child == 0) {
            const rlimit no_core{0, 0};
            setrlimit(RLIMIT_CORE, &no_core);
            dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
            close(ends[0]);
            CrashHandler::install();
            crash();
            _exit(0);
        }
        close(ends[1]);
        int status = 0;
        waitpid(child, &status, 0);
        // Whoever is left of the child holds the other end.
        pollfd last{ends[0], 0, 0};
        EXPECT_EQ(poll(&last, 1, kPatienceMs), 1) << "the dialog does not end";
        close(ends[0]);
        return status;
    }
    /// The signal that such a process ended by; 0 when it ended otherwise.
    int signalOfCrash(const std::function<void()>& crash) const {
        const int status = statusOfCrash(crash);
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    /// All that such a process and its dialog print.
    std::string outputOfCrash() const {
        const auto output = runtime_ / "output";
        EXPECT_EQ(signalOfCrash([&] {
                      const int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
                      for (const int printed : {STDOUT_FILENO, STDERR_FILENO})
                          dup2(fd, printed);
                      raise(SIGSEGV);
                  }),
                  SIGSEGV);
        return contentOf(output);
    }

    std::filesystem::path reportPath() const { return runtime_ / "Korvalune_crash.txt"; }
    std::string report() const { return contentOf(reportPath()); }

    TemporaryDirectory runtime_;
    FakePrograms programs_;
    ScopedEnvironment environment_{{{"XDG_RUNTIME_DIR", runtime_.path().string()},
                                    {"XDG_CURRENT_DESKTOP", "XFCE"},
                                    {"XDG_SESSION_TYPE", "x11"},
                                    {"SNAP_VERSION", std::nullopt},
                                    {"LANG", "en_US.UTF-8"},
                                    {"LC_ALL", std::nullopt},
                                    {"LANGUAGE", std::nullopt}}};
};

}  // namespace

// The report

TEST_F(CrashHandlerTest, ReportsEachSignalAndDiesByIt) {
    const std::pair<int, const char*> cases[] = {
        {SIGILL, "SIGILL (Illegal instruction) (4)"},
        {SIGTRAP, "SIGTRAP (fatal GLib error) (5)"},
        {SIGABRT, "SIGABRT (Abort) (6)"},
        {SIGBUS, "SIGBUS (Bus error) (7)"},
        {SIGFPE, "SIGFPE (Floating point exception) (8)"},
        {SIGSEGV, "SIGSEGV (Segmentation fault) (11)"},
    };
    for (const auto& [number, text] : cases) {
        EXPECT_EQ(signalOfCrash([number = number] { raise(number); }), number) << text;
        EXPECT_THAT(report(), HasSubstr("\nSignal: " + std::string(text) + "\n"));
    }
}

TEST_F(CrashHandlerTest, TheReportHasItsLinesInOrder) {
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    const std::string version = maker::kVersion + 1;
    EXPECT_THAT(report(),
                MatchesRegex("=== Korvalune Crash Report ===\nVersion: " + version +
                             "\nSignal: SIGSEGV \\(Segmentation fault\\) \\(11\\)\nTime: " + kTime +
                             "\nSystem: Linux [^ \n]+ [^ \n]+\nDesktop: XFCE \\(x11\\)\nSnap: no\n"
                             "\nBacktrace:\n([^\n]+\\[0x[0-9a-f]+\\]\n){3,32}\n=== End Report ===\n"));
}

TEST_F(CrashHandlerTest, TheTimeIsThatOfTheCrash) {
    const std::time_t before = std::time(nullptr);
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    const std::time_t after = std::time(nullptr);
    const std::string text = report();
    std::tm utc{};
    ASSERT_NE(strptime(text.c_str() + text.find("\nTime: "), "\nTime: %Y-%m-%d %H:%M:%S UTC\n", &utc),
              nullptr);
    EXPECT_LE(before, timegm(&utc));
    EXPECT_GE(after, timegm(&utc));
}

TEST_F(CrashHandlerTest, TheBacktraceNamesPlacesInTheProgramsFile) {
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(report(), ContainsRegex("unit_tests\\([^)\n]*\\+0x[0-9a-f]+\\)"));
}

TEST_F(CrashHandlerTest, ThePackageAndAnUnknownDesktopAreNamed) {
    const ScopedEnvironment environment(ScopedEnvironment::Variables{{"SNAP_VERSION", "1.11-2"},
                                                                     {"XDG_CURRENT_DESKTOP", std::nullopt},
                                                                     {"XDG_SESSION_TYPE", std::nullopt}});
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(report(), HasSubstr("\nDesktop: unknown (unknown)\nSnap: yes (v1.11-2)\n"));
}

TEST_F(CrashHandlerTest, VariablesThatAreSetButEmptyAreNotUnset) {
    const ScopedEnvironment environment(ScopedEnvironment::Variables{
        {"SNAP_VERSION", ""}, {"XDG_CURRENT_DESKTOP", ""}, {"XDG_SESSION_TYPE", "x11"}});
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(report(), HasSubstr("\nDesktop:  (x11)\nSnap: yes (v)\n"));
}

TEST_F(CrashHandlerTest, AnySignalCanBeHandedIn) {
    EXPECT_EQ(signalOfCrash([] { crashHandler(SIGUSR1); }), SIGUSR1);
    EXPECT_THAT(report(), HasSubstr("\nSignal: Unknown signal (10)\n"));
    statusOfCrash([] { crashHandler(-3); });
    EXPECT_THAT(report(), HasSubstr("\nSignal: Unknown signal (-3)\n"));
}

TEST_F(CrashHandlerTest, ANewReportTakesTheOldOnesPlace) {
    writeFile(reportPath(), std::string(100'000, 'x'));
    ASSERT_EQ(chmod(reportPath().c_str(), 0644), 0);
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(report(), StartsWith("=== Korvalune"));
    EXPECT_LT(report().size(), 20'000U);
    struct stat status {};
    ASSERT_EQ(stat(reportPath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(CrashHandlerTest, AFullStackIsReported) {
    EXPECT_EQ(signalOfCrash([] {
                  const rlimit little{1 << 20, 1 << 20};
                  setrlimit(RLIMIT_STACK, &little);
                  exhaustStack();
              }),
              SIGSEGV);
    EXPECT_THAT(report(), HasSubstr("=== End Report ==="));
}

#ifndef KORVALUNE_ADDRESS_SANITIZER
TEST_F(CrashHandlerTest, ABrokenHeapIsReported) {
    EXPECT_EQ(signalOfCrash([] {
                  alarm(kPatienceMs / 1000);
                  // With another thread the heap is locked while it finds itself broken.
                  std::thread([] { pause(); }).detach();
                  auto* const last = static_cast<volatile char*>(std::malloc(100'000));
                  const std::size_t end = malloc_usable_size(const_cast<char*>(last));
                  for (std::size_t i = 0; i < 16; ++i)
                      last[end + i] = '\x7f';
                  for (int i = 0; i < 100; ++i)
                      static_cast<volatile char*>(std::malloc(100'000))[0] = 1;
              }),
              SIGABRT);
    EXPECT_THAT(report(), HasSubstr("=== End Report ==="));
}
#endif

TEST_F(CrashHandlerTest, OnlyTheFirstSignalIsReported) {
    for (const int second : {SIGBUS, SIGABRT}) {
        SCOPED_TRACE(second);
        addDialog("");
        programs_.forgetRuns();
        EXPECT_EQ(signalOfCrash([&] {
                      std::atomic<bool> second_comes = false;
                      std::thread([&] {
                          awaitEnvironmentRead();
                          second_comes = true;
                          raise(second);
                      }).detach();
                      holdEnvironmentReads([&] {
                          while (!second_comes)
                              sched_yield();
                          poll(nullptr, 0, 200);
                      });
                      raise(SIGABRT);
                  }),
                  SIGABRT);
        EXPECT_THAT(report(), MatchesRegex("=== Korvalune Crash Report ===\n[^=]*\nSignal: SIGABRT "
                                           "[^=]*\n=== End Report ===\n\nUser description:\n\n"));
        EXPECT_THAT(programs_.runs(), testing::Contains(StartsWith("zenity ")).Times(1));
    }
}

TEST_F(CrashHandlerTest, AReportThatHangsDoesNotKeepTheProgramAlive) {
    EXPECT_EQ(signalOfCrash([] {
                  alarm(kPatienceMs / 1000);
                  std::thread([] {
                      awaitEnvironmentRead();
                      raise(SIGBUS);
                  }).detach();
                  holdEnvironmentReads([] {
                      for (;;)
                          pause();
                  });
                  raise(SIGABRT);
              }),
              SIGBUS);
}

TEST_F(CrashHandlerTest, AFaultOfTheHandlerItselfEndsTheProgram) {
    addDialog("");
    EXPECT_EQ(signalOfCrash([] {
                  alarm(kPatienceMs / 1000);
                  // NOLINTNEXTLINE(performance-no-int-to-ptr): where nobody may read
                  environ = reinterpret_cast<char**>(alignof(char*));
                  raise(SIGABRT);
              }),
              SIGSEGV);
    EXPECT_THAT(report(), StartsWith("=== Korvalune"));
    EXPECT_THAT(report(), HasSubstr("\nSignal: SIGABRT (Abort) (6)\n"));
    EXPECT_THAT(programs_.runs(), IsEmpty());
}

// Places that are not fit for a report

TEST_F(CrashHandlerTest, WithoutAReportThereIsNoDialog) {
    addDialog("");
    const ScopedEnvironment environment(
        ScopedEnvironment::Variables{{"XDG_RUNTIME_DIR", (runtime_ / "missing").string()}});
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(programs_.runs(), IsEmpty());
}

TEST_F(CrashHandlerTest, WhatOthersPutThereIsNotWrittenTo) {
    addDialog("");
    const auto precious = runtime_ / "precious";
    const std::function<void()> plants[] = {
        [&] { std::filesystem::create_symlink(precious, reportPath()); },
        [&] { std::filesystem::create_hard_link(precious, reportPath()); },
        [&] { ASSERT_EQ(mkfifo(reportPath().c_str(), 0600), 0); },
        [&] { std::filesystem::create_directory(reportPath()); },
    };
    for (const auto& plant : plants) {
        writeFile(precious, "precious");
        plant();
        EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
        EXPECT_EQ(contentOf(precious), "precious");
        std::filesystem::remove(reportPath());
    }
    EXPECT_THAT(programs_.runs(), IsEmpty());
}

TEST_F(CrashHandlerTest, APathTooLongForItsPlaceIsNotCutShort) {
    addDialog("");
    const auto directoryOf = [this](std::size_t length) {
        std::string path = runtime_.path();
        while (length - path.size() > 200)
            path += "/" + std::string(99, 'x');
        path += "/" + std::string(length - path.size() - 1, 'x');
        std::filesystem::create_directories(path);
        return std::filesystem::path(path);
    };
    for (const std::size_t length : {492U, 505U, 509U}) {
        SCOPED_TRACE(length);
        const auto directory = directoryOf(length);
        const auto cut = (directory / "Korvalune_crash.txt").string().substr(0, 511);
        writeFile(cut, "precious");
        const ScopedEnvironment environment(
            ScopedEnvironment::Variables{{"XDG_RUNTIME_DIR", directory.string()}});
        EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
        EXPECT_EQ(contentOf(cut), "precious");
        EXPECT_FALSE(std::filesystem::exists(directory / "Korvalune_crash.txt"));
    }
    EXPECT_THAT(programs_.runs(), IsEmpty());
    const auto longest = directoryOf(491);
    const ScopedEnvironment environment(ScopedEnvironment::Variables{{"XDG_RUNTIME_DIR", longest.string()}});
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(contentOf(longest / "Korvalune_crash.txt"), StartsWith("=== Korvalune"));
}

TEST_F(CrashHandlerTest, ADirectoryNameTooLongForAnyFileIsNoHarm) {
    const ScopedEnvironment environment(
        ScopedEnvironment::Variables{{"XDG_RUNTIME_DIR", "/" + std::string(5000, 'x')}});
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
}

// The dialog

TEST_F(CrashHandlerTest, TheDialogAsksInEnglish) {
    addDialog("");
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(argumentsOf("zenity"),
                ElementsAre("--text-info", "--editable",
                            "--title=Korvalune - Can you describe when the error occurred?", "--width=500",
                            "--height=250", "--ok-label=Send crash report", "--cancel-label=Don't send"));
}

TEST_F(CrashHandlerTest, TheDialogAsksInGermanWhereAnyVariableSaysSo) {
    const ScopedEnvironment::Variables cases[] = {
        {{"LANG", "de_DE.UTF-8"}},
        {{"LC_ALL", "de_AT"}},
        {{"LANGUAGE", "de:en"}},
    };
    for (const auto& variables : cases) {
        addDialog("");
        const ScopedEnvironment environment(variables);
        EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
        EXPECT_THAT(
            argumentsOf("zenity"),
            ElementsAre("--text-info", "--editable",
                        "--title=Korvalune - Können Sie beschreiben, wann der Fehler aufgetreten ist?",
                        "--width=500", "--height=250", "--ok-label=Absturzbericht senden",
                        "--cancel-label=Nicht senden"));
    }
    addDialog("");
    const ScopedEnvironment environment(ScopedEnvironment::Variables{{"LANG", "d"}, {"LANGUAGE", "en:de"}});
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(argumentsOf("zenity"), testing::Contains("--cancel-label=Don't send"));
}

TEST_F(CrashHandlerTest, WhatTheUserAgreesToSendIsTheWholeReport) {
    const std::string description = "I clicked 'Kill' & typed \"$(touch hurt)\" `touch hurt` 100%\nÄrger?";
    addDialog(description);
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(report(),
                testing::EndsWith("\n=== End Report ===\n\nUser description:\n" + description + "\n"));
    const auto arguments = argumentsOf("xdg-open");
    ASSERT_EQ(arguments.size(), 1U);
    const std::string start = "mailto:" + std::string(maker::kSupport) + "?subject=";
    ASSERT_THAT(arguments[0], StartsWith(start));
    const std::size_t body = arguments[0].find("&body=");
    ASSERT_NE(body, std::string::npos);
    EXPECT_THAT(decoded(arguments[0].substr(start.size(), body - start.size())),
                MatchesRegex("Korvalune Crash: SIGSEGV \\(Segmentation fault\\) - " + kTime));
    EXPECT_EQ(decoded(arguments[0].substr(body + 6)), report());
    EXPECT_FALSE(programs_.exists("hurt"));
}

TEST_F(CrashHandlerTest, WhatTakesTheReportsNameMeanwhileIsNeitherWrittenNorSent) {
    addDialog("description");
    writeFile(runtime_ / "precious", "precious");
    const std::string report_name = reportPath();
    addProgram("zenity", "mv " + report_name + " " + report_name + ".moved; ln -s precious " + report_name +
                             "; cat description");
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_EQ(contentOf(runtime_ / "precious"), "precious");
    const std::string sent = contentOf(report_name + ".moved");
    EXPECT_THAT(sent, testing::EndsWith("\n\nUser description:\ndescription\n"));
    const auto arguments = argumentsOf("xdg-open");
    ASSERT_EQ(arguments.size(), 1U);
    EXPECT_EQ(decoded(arguments[0].substr(arguments[0].find("&body=") + 6)), sent);
}

TEST_F(CrashHandlerTest, TheWordsFollowWhateverTheReportHoldsByThen) {
    addDialog("description");
    addProgram("zenity", "echo newer >" + reportPath().string() + "; cat description");
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_EQ(report(), "newer\n\nUser description:\ndescription\n");
}

TEST_F(CrashHandlerTest, OnlyTheShellGetsTheReportsDescriptor) {
    const std::string note = "for fd in /proc/$$/fd/[1-9]*; do readlink $fd; done >>files\n";
    addDialog("description");
    addProgram("zenity", note + "cat description; readlink /proc/$PPID/fd/* >shell");
    addProgram("xdg-open", note);
    programs_.script("python3", note + "exec /usr/bin/python3 \"$@\"");
    const auto report_files = [this](const char* name) {
        return std::ranges::count(linesOf(contentOf(programs_.path() + "/" + name)), reportPath().string());
    };
    // Whatever number it has in the program.
    for (const int number : {STDIN_FILENO, 3, 20}) {
        EXPECT_EQ(signalOfCrash([&] {
                      const std::string ours = programs_.path() + "/ours";
                      const int fd = open(ours.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
                      for (int below = 0; below < number; ++below)
                          if (fcntl(below, F_GETFD) < 0) dup3(fd, below, O_CLOEXEC);
                      close(number);
                      raise(SIGSEGV);
                  }),
                  SIGSEGV);
        EXPECT_THAT(report(), testing::EndsWith("\n\nUser description:\ndescription\n"));
        EXPECT_EQ(report_files("shell"), 1);
    }
    EXPECT_THAT(programs_.runs(), testing::SizeIs(3 * 4));
    EXPECT_EQ(report_files("files"), 0);
    for (const char* const name : {"shell", "files"})
        EXPECT_THAT(contentOf(programs_.path() + "/" + name), testing::Not(HasSubstr("/ours\n")));
}

TEST_F(CrashHandlerTest, WithoutConsentNothingIsSent) {
    addDialog("never mind", 1);
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(argumentsOf("zenity"), testing::SizeIs(7));
    EXPECT_THAT(report(), testing::EndsWith("=== End Report ===\n"));
    EXPECT_THAT(argumentsOf("xdg-open"), IsEmpty());
}

TEST_F(CrashHandlerTest, AMachineWithoutTheDialogKeepsTheReport) {
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(report(), testing::EndsWith("=== End Report ===\n"));
}

TEST_F(CrashHandlerTest, WithoutPythonTheReportIsWholeAndNothingIsPrinted) {
    addDialog("description");
    programs_.remove("python3");
    EXPECT_EQ(outputOfCrash(), "");
    EXPECT_THAT(report(), testing::EndsWith("\n=== End Report ===\n\nUser description:\ndescription\n"));
    EXPECT_THAT(argumentsOf("xdg-open"),
                ElementsAre("mailto:" + std::string(maker::kSupport) + "?subject=&body="));
}

TEST_F(CrashHandlerTest, WithoutAMailProgramTheReportIsWholeAndNothingIsPrinted) {
    addDialog("description");
    programs_.remove("xdg-open");
    EXPECT_EQ(outputOfCrash(), "");
    EXPECT_THAT(report(), testing::EndsWith("\n=== End Report ===\n\nUser description:\ndescription\n"));
    EXPECT_THAT(programs_.runs(), testing::Contains(StartsWith("python3 ")).Times(2));
}

TEST_F(CrashHandlerTest, APathWithQuotesStaysAPath) {
    addDialog("description");
    const auto odd = runtime_ / "a'b; touch hurt; '$(touch hurt)";
    std::filesystem::create_directory(odd);
    const ScopedEnvironment environment(ScopedEnvironment::Variables{{"XDG_RUNTIME_DIR", odd.string()}});
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_THAT(contentOf(odd / "Korvalune_crash.txt"),
                testing::EndsWith("User description:\ndescription\n"));
    EXPECT_FALSE(programs_.exists("hurt"));
}

TEST_F(CrashHandlerTest, TheDialogGetsTheSession) {
    addProgram("zenity", "printf '%s ' $DISPLAY $WAYLAND_DISPLAY $XAUTHORITY >session; exit 1");
    const ScopedEnvironment environment(ScopedEnvironment::Variables{
        {"DISPLAY", ":7"}, {"WAYLAND_DISPLAY", "wayland-3"}, {"XAUTHORITY", "/x"}});
    EXPECT_EQ(signalOfCrash([] { raise(SIGSEGV); }), SIGSEGV);
    EXPECT_EQ(contentOf(programs_.path() + "/session"), ":7 wayland-3 /x ");
}

// Writing

TEST(CrashHandlerWriting, WritesTheWholeText) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const std::string text(1'000'000, 'x');
    std::string read_back;
    std::thread reader([&] {
        std::array<char, 4096> part{};
        for (ssize_t got = 0; (got = read(ends[0], part.data(), part.size())) > 0;)
            read_back.append(part.data(), static_cast<std::size_t>(got));
    });
    wr(ends[1], text.c_str());
    wr(ends[1], "");
    wr(ends[1], nullptr);
    close(ends[1]);
    reader.join();
    close(ends[0]);
    EXPECT_EQ(read_back, text + "(null)");
}

TEST(CrashHandlerWriting, GivesUpWhereNothingCanBeWritten) {
    wr(-1, "text");
    const int full = open("/dev/full", O_WRONLY);
    wr(full, "text");
    close(full);
}
