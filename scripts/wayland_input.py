"""A pointer and a keyboard for a Wayland compositor that has no devices.

Speaks the Wayland wire protocol itself: the devices exist as long as the connection, as real ones would, while
those of one command each would come and go with every key.
"""

import array
import os
import socket
import struct
import time

DISPLAY = 1  # the object that every connection begins with
SEAT = "wl_seat"
POINTERS = "zwlr_virtual_pointer_manager_v1"
KEYBOARDS = "zwp_virtual_keyboard_manager_v1"
XKB_TEXT = 1
LEFT_BUTTON = 0x110  # as in linux/input-event-codes.h, like the keys
KEYS = {"Escape": 1, "Tab": 15, "Return": 28, "space": 57, "Up": 103, "Down": 108}
LAYOUT = b"""xkb_keymap {
    xkb_keycodes { include "evdev" };
    xkb_types { include "complete" };
    xkb_compatibility { include "complete" };
    xkb_symbols { include "pc+us" };
};\0"""


class WaylandInput:
    """`path` is the compositor's socket, `size` the screen's in pixels."""

    def __init__(self, path, size):
        self._size = size
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(10)
        self._socket.connect(str(path))
        self._received = b""
        self._last_id = DISPLAY
        self._registry = self._new_id()
        self._send(DISPLAY, 1, self._registry)  # get_registry
        self._globals = self._read_globals()
        seat, pointers, keyboards = map(self._bind, (SEAT, POINTERS, KEYBOARDS))
        self._pointer = self._new_id()
        self._send(pointers, 0, seat, self._pointer)
        self._keyboard = self._new_id()
        self._send(keyboards, 0, seat, self._keyboard)
        self._send_layout()
        self._sync()

    def close(self):
        self._socket.close()

    def move(self, x, y):
        self._send(self._pointer, 1, milliseconds(), x, y, *self._size)  # motion_absolute
        self._end_of_gesture()

    def click(self):
        for pressed in (1, 0):
            self._send(self._pointer, 2, milliseconds(), LEFT_BUTTON, pressed)
            self._end_of_gesture()

    def key(self, name):
        for pressed in (1, 0):
            self._send(self._keyboard, 1, milliseconds(), KEYS[name], pressed)
        self._sync()

    def _end_of_gesture(self):
        self._send(self._pointer, 4)  # frame
        self._sync()

    # ---- the protocol ----

    def _new_id(self):
        self._last_id += 1
        return self._last_id

    def _send(self, target, request, *words, descriptors=()):
        """A request whose arguments are numbers and, already encoded, texts."""
        body = b"".join(word if isinstance(word, bytes) else struct.pack("=I", word) for word in words)
        message = struct.pack("=II", target, (8 + len(body)) << 16 | request) + body
        passed = [(socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array("i", descriptors))] if descriptors else []
        self._socket.sendmsg([message], passed)

    def _next_event(self):
        """The sender, the event's number and its arguments."""
        while len(self._received) < 8 or len(self._received) < self._message_size():
            received = self._socket.recv(65536)
            if not received:
                raise ConnectionError("the compositor has gone")
            self._received += received
        size = self._message_size()
        message, self._received = self._received[:size], self._received[size:]
        sender, head = struct.unpack_from("=II", message)
        if sender == DISPLAY and head & 0xFFFF == 0:
            raise ConnectionError(f"the compositor complains: {message[20:]}")
        return sender, head & 0xFFFF, message[8:]

    def _message_size(self):
        return struct.unpack_from("=I", self._received, 4)[0] >> 16

    def _events_until_now(self):
        """All events up to the compositor's answer that it has dealt with every request so far."""
        callback = self._new_id()
        self._send(DISPLAY, 0, callback)  # sync
        while True:
            sender, event, body = self._next_event()
            if sender == callback:
                return
            yield sender, event, body

    def _sync(self):
        for _ in self._events_until_now():
            pass

    def _read_globals(self):
        """The compositor's services: number by interface."""
        found = {}
        for sender, event, body in self._events_until_now():
            if sender == self._registry and event == 0:
                number, length = struct.unpack_from("=II", body)
                found[body[8:8 + length - 1].decode()] = number
        return found

    def _bind(self, interface):
        new_id = self._new_id()
        self._send(self._registry, 0, self._globals[interface], text(interface), 1, new_id)
        return new_id

    def _send_layout(self):
        layout = os.memfd_create("layout")
        try:
            os.write(layout, LAYOUT)
            self._send(self._keyboard, 0, XKB_TEXT, len(LAYOUT), descriptors=[layout])
        finally:
            os.close(layout)


def milliseconds():
    return time.monotonic_ns() // 1_000_000 & 0xFFFFFFFF


def text(value):
    """As the wire has it: length with the closing zero, then the bytes, padded to whole words."""
    encoded = value.encode() + b"\0"
    return struct.pack("=I", len(encoded)) + encoded + b"\0" * (-len(encoded) % 4)
