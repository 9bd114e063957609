#pragma once

/// What is left to do when the program dies: a report of the crash, which its user may describe and send.
namespace CrashHandler {

/// Has crashHandler() called for the first fatal signal: SIGSEGV, SIGABRT, SIGFPE, SIGBUS, SIGILL or SIGTRAP.
/// To be called once, before everything else. The report will be "Korvalune_crash.txt" in $XDG_RUNTIME_DIR,
/// or in /tmp where there is none; a directory whose name is too long (over 491 bytes) gets no report.
void install();

}  // namespace CrashHandler

/// The signal handler. Writes the report (mode 0600, replacing an older one), leaves the dialog to a child
/// and ends the process by `sig` without waiting for it. Where no report can be written there is no dialog.
/// Calls nothing that takes a lock: the crash may have come from within malloc(). Only the first signal is
/// reported. A thread that crashes meanwhile waits for the end, three seconds at most, then ends the process
/// by its own signal; a crash of the handler itself ends it at once.
void crashHandler(int sig);

/// Writes a whole text to a descriptor, "(null)" for a null one; gives up when a write fails or writes
/// nothing. Safe in signal handlers.
void wr(int fd, const char* text);
