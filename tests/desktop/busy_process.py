"""A process that keeps a core busy for a share of the time and goes by a name of one's own.

Arguments: the name's bytes in hexadecimal; "ignore" to ignore polite requests to end, "heed" not to.
"""

import ctypes
import signal
import sys
import time

PR_SET_NAME = 15
BUSY_SECONDS, IDLE_SECONDS = 0.06, 0.04


def main():
    if sys.argv[2] == "ignore":
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
    ctypes.CDLL(None).prctl(PR_SET_NAME, bytes.fromhex(sys.argv[1]), 0, 0, 0)
    print("ready", flush=True)
    while True:
        end = time.monotonic() + BUSY_SECONDS
        while time.monotonic() < end:
            pass
        time.sleep(IDLE_SECONDS)


main()
