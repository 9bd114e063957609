#pragma once

/// Whether this process can open `wanted` more files, at most 16. GLib ends the process when it finds none
/// for waking its main loops, as it needs for every call over D-Bus that is waited for; who can do without
/// such a call asks here first.
bool descriptorsLeft(int wanted);
