"""A made-up machine whose counters run: kernel files as the program reads them, the same on every computer.

Pictures made on it never change with the computer they are made on.
"""

import os
import shutil
import threading
import time
from pathlib import Path

FIXTURES = Path(__file__).resolve().parents[1] / "tests/fixtures"
TICKS = 100  # per second, of processes
CORE_TICKS = 10_000  # per second: only their shares are looked at, which are then never rounded
USER = (1000, "mara")


def passwd(user, root):
    """A text of /etc/passwd that gives these numbers to the two owners of the machine's processes."""
    return f"root:x:{root}:0:root:/root:/bin/sh\n{USER[1]}:x:{user}:{user}::/home/{USER[1]}:/bin/sh\n"


PASSWD = passwd(USER[0], 0)

# pid, name, owned by the user, percent of a core, resident MiB
PROCESSES = (
    (4711, "render", True, 342.0, 2840), (2040, "Web Browser", True, 61.5, 1536), (2101, "Isolated Web Co", True, 24.0, 812),
    (958, "Xorg", False, 12.5, 188), (3120, "video-call", True, 9.0, 655), (2610, "music-player", True, 6.5, 240),
    (1311, "panel", True, 3.0, 74), (2477, "zsh", True, 0.5, 9), (702, "NetworkManager", False, 0.5, 22),
    (611, "dbus-daemon", False, 1.0, 7), (1, "systemd", False, 0.0, 13), (2, "kthreadd", False, 0.0, 0),
    (17, "ksoftirqd/0", False, 0.5, 0), (3001, "mail", True, 1.5, 310), (3002, "editor", True, 4.5, 420),
    (3003, "language-server", True, 17.0, 1100), (3004, "terminal", True, 2.0, 66), (840, "cupsd", False, 0.0, 12),
    (850, "cron", False, 0.0, 3), (900, "sshd", False, 0.0, 8), (3300, "backup", False, 7.5, 130),
    (3301, "indexer", True, 0.0, 95),
)
GPU_PROCESSES = ((4711, 2600), (958, 310), (2040, 480), (3120, 220), (3002, 40), (2101, 130), (1311, 12))
BYTES_BEFORE = 7_000_000_000  # that an interface has received, and sent, before the machine lives
# Of each core, then again from the first; off the whole percents, to which figures are cut.
LOADS = (0.934, 0.314, 0.624, 0.124, 0.884, 0.224, 0.554, 0.054)


def net_dev(counted):
    """A text of /proc/net/dev; `counted` has the bytes that each interface received and sent."""
    lines = [f"{name:>6}: {received} 9 0 0 0 0 0 0 {sent} 9 0 0 0 0 0 0\n"
             for name, (received, sent) in {"lo": (10, 10), **counted}.items()]
    return "Inter-| Receive | Transmit\n face |bytes packets\n" + "".join(lines)


class LivingMachine:
    """Writes the kernel's files below `root`; between start() and stop() their counters grow with time."""

    def __init__(self, root, cores=8, smt=True, gpus=1, sensor=True, processes=PROCESSES, first_pid=0,
                 clock=time.monotonic, pause=0.2, user=USER[0]):
        self.root = Path(root)
        self.online = list(range(cores))  # the cores that are switched on
        self.traffic = {"wlan0": (1_340_000, 94_000), "eth0": (0, 0)}  # bytes per second: received, sent
        self.processes = processes
        self.first_pid = first_pid  # above the kernel's greatest pid nobody can be hit by a signal
        self._clock = clock  # seconds
        self._pause = pause  # real seconds from one writing of the counters to the next
        self._stop = threading.Event()
        self._thread = None
        self._started = clock()
        self._counted = {}  # bytes that each interface received and sent
        self._advanced = -1000  # seconds since the start: the machine is older than this object
        root_user = 1 if user == 0 else 0  # two owners, also where the program runs as root
        self._write("etc/passwd", passwd(user, root_user))
        self._write("proc/cpuinfo", "model name\t: Fictional CPU 8-Core @ 3.40GHz\n")
        self._write("proc/meminfo", "MemTotal: 16240000 kB\nMemFree: 3200000 kB\nMemAvailable: 9800000 kB\n"
                    "Buffers: 400000 kB\nCached: 5200000 kB\nSwapTotal: 8000000 kB\nSwapFree: 7100000 kB\n")
        self._write("sys/class/net/wlan0/operstate", "up\n")
        self._write("sys/class/net/wlan0/statistics/rx_bytes", "100000\n")
        self._write("sys/class/net/eth0/operstate", "down\n")
        if sensor:
            self._write("sys/class/hwmon/hwmon0/name", "coretemp\n")
            self._write("sys/class/hwmon/hwmon0/temp1_input", "58000\n")
        self._write_topology(cores, smt)
        for number in range(gpus):
            self._write_gpu(number)
        for number, name, own, _, megabytes in processes:
            pid = first_pid + number
            owner = user if own else root_user
            self._write(f"proc/{pid}/status", f"Name:\t{name}\nUid:\t{owner}\t{owner}\t{owner}\t{owner}\n")
            self._write(f"proc/{pid}/comm", name + "\n")
        self.advance()

    def __enter__(self):
        self._thread = threading.Thread(target=self._run, daemon=True)
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._stop.set()
        self._thread.join()

    def advance(self):
        """Writes the counters as they are now."""
        now = self._clock() - self._started
        seconds = 1000 + now
        lines = []
        for core in self.online:
            busy = int(LOADS[core % len(LOADS)] * seconds * CORE_TICKS)
            lines.append(f"cpu{core} {busy} 0 0 {int(seconds * CORE_TICKS) - busy} 0 0 0 0 0 0")
        self._write("proc/stat", "\n".join(["cpu  0 0 0 0 0 0 0 0 0 0", *lines, ""]))
        for name, rates in self.traffic.items():
            before = self._counted.get(name, (BYTES_BEFORE, BYTES_BEFORE))
            self._counted[name] = tuple(int(count + rate * (now - self._advanced))
                                        for count, rate in zip(before, rates))
        self._advanced = now
        self._write("proc/net/dev", net_dev({name: self._counted[name] for name in self.traffic}))
        page = os.sysconf("SC_PAGE_SIZE")
        for number, name, _, percent, megabytes in self.processes:
            pid = self.first_pid + number
            ticks = int(percent / 100 * seconds * TICKS)
            pages = megabytes * 1024 * 1024 // page
            self._write(f"proc/{pid}/stat", f"{pid} ({name}) S 1 1 1 0 -1 4194560 0 0 0 0 {ticks} 0 0 0 20 0 1 0 "
                        f"{pid} 3670016000 {pages} 18446744073709551615 0 0 0 0 0 0 0 0 0 0 0 0 17 0 0 0 0 0 0\n")

    def _run(self):
        while not self._stop.wait(self._pause):
            self.advance()

    def _write(self, path, text):
        """Replaced in one step: a reader never sees half a file."""
        target = self.root / path
        target.parent.mkdir(parents=True, exist_ok=True)
        scratch = target.with_name(target.name + ".new")
        scratch.write_text(text)
        scratch.rename(target)

    def _write_topology(self, cores, smt):
        for core in range(cores):
            first = core - core % 2 if smt else core
            siblings = f"{first},{first + 1}" if smt else str(core)
            self._write(f"sys/devices/system/cpu/cpu{core}/topology/thread_siblings_list", siblings + "\n")

    def _write_gpu(self, number):
        device = f"sys/class/drm/card{number}/device"
        shutil.copytree(FIXTURES / "gpu-amd/sys/class/drm/card0/device", self.root / device, dirs_exist_ok=True)
        self._write(f"{device}/gpu_busy_percent", f"{(71, 34, 8)[number % 3]}\n")
        self._write(f"{device}/mem_busy_percent", f"{(38, 12, 0)[number % 3]}\n")
        for process, megabytes in GPU_PROCESSES if number == 0 else ():
            pid = self.first_pid + process
            self._write(f"proc/{pid}/fd/5", "")
            self._write(f"proc/{pid}/fdinfo/5", "drm-driver:\tamdgpu\ndrm-client-id:\t{}\ndrm-pdev:\t0000:03:00.0\n"
                        "drm-memory-vram:\t{} KiB\n".format(pid, megabytes * 1024))
