#pragma once

/// Has this program started anew, with its path as the only argument, as soon as this process has ended (a
/// successor that came earlier would take it for another running instance). True: the successor waits, and
/// the caller should now leave the main loop. False: there is none, because the program's path or another
/// process could not be had; nothing has changed.
///
/// In the confined package (SNAP is set) the launcher brings the program back: the process ends here, at
/// once, with status 1.
bool restartAfterEnd();
