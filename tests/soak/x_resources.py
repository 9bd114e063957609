"""What each program holds in the X server, asked of the server's own books (X-Resource extension)."""

import ctypes
from collections import Counter

PID_MASK = 2  # of what tells who a client is


class _Question(ctypes.Structure):
    _fields_ = [("client", ctypes.c_ulong), ("mask", ctypes.c_uint)]


class _Identity(ctypes.Structure):
    _fields_ = [("question", _Question), ("length", ctypes.c_long), ("value", ctypes.c_void_p)]


class _Type(ctypes.Structure):
    _fields_ = [("name", ctypes.c_ulong), ("count", ctypes.c_uint)]


class XResources:
    """A connection of its own to a display; not for several threads."""

    def __init__(self, display):
        self._x = ctypes.CDLL("libX11.so.6")
        self._extension = ctypes.CDLL("libXRes.so.1")
        self._x.XOpenDisplay.restype = ctypes.c_void_p
        self._x.XGetAtomName.restype = ctypes.c_void_p
        self._display = ctypes.c_void_p(self._x.XOpenDisplay(display.encode()))
        if not self._display:
            raise OSError(f"no connection to display {display}")
        self._names = {}

    def of(self, pid):
        """How many resources of each type, by name, the process holds over all of its connections, and under
        "bytes" how much memory its pixmaps take."""
        held = Counter()
        for client in self._clients(pid):
            count, types = ctypes.c_int(), ctypes.POINTER(_Type)()
            self._check(self._extension.XResQueryClientResources(
                self._display, ctypes.c_ulong(client), ctypes.byref(count), ctypes.byref(types)))
            for index in range(count.value):
                held[self._name(types[index].name)] += types[index].count
            self._x.XFree(types)
            size = ctypes.c_ulong()
            self._check(self._extension.XResQueryClientPixmapBytes(
                self._display, ctypes.c_ulong(client), ctypes.byref(size)))
            held["bytes"] += size.value
        return held

    def _clients(self, pid):
        everybody = _Question(0, PID_MASK)
        count, found = ctypes.c_long(), ctypes.POINTER(_Identity)()
        if self._extension.XResQueryClientIds(self._display, ctypes.c_long(1), ctypes.byref(everybody),
                                              ctypes.byref(count), ctypes.byref(found)):
            raise OSError("the X server does not tell whose connections it has")
        clients = [found[index].question.client for index in range(count.value)
                   if self._extension.XResGetClientPid(ctypes.byref(found[index])) == pid]
        self._extension.XResClientIdsDestroy(count, found)
        return clients

    def _name(self, atom):
        if atom not in self._names:
            text = self._x.XGetAtomName(self._display, ctypes.c_ulong(atom))
            self._names[atom] = ctypes.string_at(text).decode()
        return self._names[atom]

    @staticmethod
    def _check(status):
        if not status:
            raise OSError("the X server does not tell what its clients hold")
