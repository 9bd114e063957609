#include "crash_handler.h"

#include <execinfo.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "maker.h"

namespace {

constexpr std::array kSignals{SIGSEGV, SIGABRT, SIGFPE, SIGBUS, SIGILL, SIGTRAP};
constexpr int kMostFrames = 32;
constexpr std::size_t kStackBytes = 131'072;
constexpr unsigned kPatienceSeconds = 3;
constexpr int kReportDescriptor = 3;  // in the dialog's script

/// The thread that writes the report; 0 until the first fatal signal.
std::atomic<pid_t> g_reporter;
static_assert(std::atomic<pid_t>::is_always_lock_free);

std::array<char, 512> g_path;     // empty: it does not fit
std::array<char, 32> g_time;      // of the crash, UTC
std::array<char, 8192> g_script;  // for the shell that asks the user

/// A stack of its own, so that a stack that is full can be reported too. Its pages cost nothing until then.
alignas(16) std::array<char, kStackBytes> g_stack;

struct DialogTexts {
    const char* title;
    const char* ok;
    const char* cancel;
};

constexpr DialogTexts kEnglish{"Korvalune - Can you describe when the error occurred?", "Send crash report",
                               "Don't send"};
constexpr DialogTexts kGerman{"Korvalune - Können Sie beschreiben, wann der Fehler aufgetreten ist?",
                              "Absturzbericht senden", "Nicht senden"};

struct sigaction handlerAction(int flags) {
    struct sigaction action {};
    action.sa_handler = crashHandler;
    action.sa_flags = flags | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    return action;
}

void dieBy(int sig) {
    signal(sig, SIG_DFL);
    raise(sig);
}

/// Whether this is the first fatal signal. If another thread was first, its report is waited for: that
/// thread ends the process. Not for ever, as it may be waiting for a lock that this one holds.
bool isFirst(int sig) {
    pid_t reporter = 0;
    if (g_reporter.compare_exchange_strong(reporter, gettid())) {
        // The next thread that dies by the same signal has to get here too instead of ending the process.
        const struct sigaction again = handlerAction(0);
        sigaction(sig, &again, nullptr);
        return true;
    }
    if (reporter == gettid()) return false;  // the handler itself has crashed
    for (unsigned left = kPatienceSeconds; left > 0;)
        left = sleep(left);
    return false;
}

const char* signalName(int sig) {
    switch (sig) {
        case SIGILL:
            return "SIGILL (Illegal instruction)";
        case SIGTRAP:
            return "SIGTRAP (fatal GLib error)";
        case SIGABRT:
            return "SIGABRT (Abort)";
        case SIGBUS:
            return "SIGBUS (Bus error)";
        case SIGFPE:
            return "SIGFPE (Floating point exception)";
        case SIGSEGV:
            return "SIGSEGV (Segmentation fault)";
        default:
            return "Unknown signal";
    }
}

void writeNumber(int fd, int number) {
    std::array<char, 12> digits{};
    std::size_t at = digits.size() - 1;
    unsigned rest = number < 0 ? 0U - static_cast<unsigned>(number) : static_cast<unsigned>(number);
    do {
        digits[--at] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (number < 0) digits[--at] = '-';
    wr(fd, &digits[at]);
}

const char* environmentOr(const char* name, const char* fallback) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : fallback;
}

/// gmtime_r() would do, but reads the time zone first, onto the heap.
void readTime() {
    using namespace std::chrono;
    const sys_seconds now{seconds{std::time(nullptr)}};
    const auto midnight = floor<days>(now);
    const year_month_day date{midnight};
    const hh_mm_ss clock{now - midnight};
    std::snprintf(g_time.data(), g_time.size(), "%04d-%02u-%02u %02d:%02d:%02d UTC",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
}

/// The report's file, empty and readable by its owner alone; -1 without one. The place may be open to
/// everybody: what others have put there is not written to.
int openReport() {
    constexpr int kFlags = O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const int fd = open(g_path.data(), kFlags, 0600);
    if (fd < 0) return -1;
    struct stat status {};
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
        status.st_nlink == 1 && fchmod(fd, 0600) == 0 && ftruncate(fd, 0) == 0) {
        return fd;
    }
    close(fd);
    return -1;
}

void writeReport(int fd, int sig) {
    const auto line = [fd](auto... texts) { (wr(fd, texts), ...); };
    line("=== Korvalune Crash Report ===\nVersion: ", maker::kVersion + 1, "\nSignal: ", signalName(sig),
         " (");
    writeNumber(fd, sig);
    line(")\nTime: ", g_time.data(), "\n");
    utsname system{};
    if (uname(&system) == 0) line("System: ", system.sysname, " ", system.release, " ", system.machine, "\n");
    line("Desktop: ", environmentOr("XDG_CURRENT_DESKTOP", "unknown"), " (",
         environmentOr("XDG_SESSION_TYPE", "unknown"), ")\n");
    if (const char* const version = std::getenv("SNAP_VERSION")) {
        line("Snap: yes (v", version, ")\n");
    } else {
        line("Snap: no\n");
    }
    line("\nBacktrace:\n");
    std::array<void*, kMostFrames> frames{};
    backtrace_symbols_fd(frames.data(), backtrace(frames.data(), kMostFrames), fd);
    line("\n=== End Report ===\n");
}

bool speaksGerman() {
    for (const char* const name : {"LANG", "LC_ALL", "LANGUAGE"}) {
        const char* const value = std::getenv(name);
        if (value != nullptr && value[0] == 'd' && value[1] == 'e') return true;
    }
    return false;
}

/// Puts the script together in a fixed place: the heap may be what is broken.
class Script {
public:
    /// As it stands.
    Script& add(const char* text) {
        for (; *text != '\0'; ++text)
            put(*text);
        return *this;
    }
    /// As one word of the shell's, whatever is in it.
    Script& addQuoted(const char* text) {
        put('\'');
        for (; *text != '\0'; ++text) {
            if (*text == '\'') {
                add("'\\''");
            } else {
                put(*text);
            }
        }
        put('\'');
        return *this;
    }
    /// Null when it does not fit.
    const char* text() const { return end_ + 1 < g_script.size() ? g_script.data() : nullptr; }

private:
    void put(char c) {
        if (end_ + 1 >= g_script.size()) return;
        g_script[end_++] = c;
        g_script[end_] = '\0';
    }

    std::size_t end_ = 0;
};

/// What the shell is to do. It knows the report by a descriptor only: while the user writes, somebody else's
/// file may come to bear its name. The programs that it starts do not get the descriptor.
const char* dialogScript(int sig) {
    const DialogTexts& texts = speaksGerman() ? kGerman : kEnglish;
    Script script;
    script.add("DESC=$(zenity --text-info --editable --title=").addQuoted(texts.title);
    script.add(" --width=500 --height=250 --ok-label=").addQuoted(texts.ok);
    script.add(" --cancel-label=").addQuoted(texts.cancel).add(" </dev/null 2>/dev/null 3>&-) || exit 0\n");
    script.add("printf '\\nUser description:\\n%s\\n' \"$DESC\" >&3\n");
    script.add("SUBJECT='Korvalune Crash: ").add(signalName(sig)).add(" - ").add(g_time.data()).add("'\n");
    script.add(
        "quote() { python3 -c 'import sys, urllib.parse as parse; "
        "sys.stdout.write(parse.quote(sys.stdin.buffer.read()))' 2>/dev/null 3>&-; }\n"
        "BODY=$(quote </proc/self/fd/3)\n"
        "SUBJ=$(printf %s \"$SUBJECT\" | quote)\n");
    script.add("xdg-open ").addQuoted("mailto:").addQuoted(maker::kSupport);
    script.add("\"?subject=$SUBJ&body=$BODY\" >/dev/null 2>&1 3>&- || true\n");
    return script.text();
}

/// In the child. The dialog finds the graphical session by the environment, which it inherits as it is.
[[noreturn]] void askUser(int sig, int report) {
    // The only one of the program's descriptors that stays open.
    if (report == kReportDescriptor) fcntl(report, F_SETFD, 0);
    if (report != kReportDescriptor && dup2(report, kReportDescriptor) < 0) _exit(0);
    if (const char* const script = dialogScript(sig))
        execl("/bin/bash", "bash", "-c", script, static_cast<char*>(nullptr));
    _exit(0);
}

}  // namespace

void wr(int fd, const char* text) {
    if (text == nullptr) text = "(null)";
    std::size_t left = std::strlen(text);
    while (left > 0) {
        const ssize_t written = write(fd, text, left);
        if (written <= 0) return;
        text += written;
        left -= static_cast<std::size_t>(written);
    }
}

void crashHandler(int sig) {
    const int fd = isFirst(sig) ? openReport() : -1;
    if (fd < 0) {
        dieBy(sig);
        return;
    }
    readTime();
    writeReport(fd, sig);
    // fork() would wait for the heap's lock, which this very thread may hold.
    if (_Fork() == 0) askUser(sig, fd);
    dieBy(sig);
}

void CrashHandler::install() {
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    const bool has_runtime = runtime != nullptr && *runtime != '\0';
    const int length =
        std::snprintf(g_path.data(), g_path.size(), "%s/Korvalune_crash.txt", has_runtime ? runtime : "/tmp");
    // A path cut short would name some other file of the user's.
    if (length < 0 || static_cast<std::size_t>(length) >= g_path.size()) g_path[0] = '\0';

    // The first call loads the library that unwinds the stack; a crashed process can't.
    std::array<void*, 1> frame{};
    backtrace(frame.data(), static_cast<int>(frame.size()));

    stack_t stack{};
    stack.ss_sp = g_stack.data();
    stack.ss_size = g_stack.size();
    sigaltstack(&stack, nullptr);

    const struct sigaction action = handlerAction(static_cast<int>(SA_RESETHAND));
    for (const int sig : kSignals)
        sigaction(sig, &action, nullptr);
}
