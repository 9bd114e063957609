"""Kernel files that fail or change shape while a page shows them."""

import re
import threading
import time
import unittest

from desktop_test_case import DesktopError
from failing_kernel import FailingKernel
from popup_test_case import PopupTestCase
from settings_test_case import SettingsCase
from strip_figures import StripRecord, bars_alike, figures_settings
from test_process_page import ProcessPageCase

from living_machine import LOADS, PASSWD, PROCESSES, USER, LivingMachine  # one of the scripts

# Beyond the greatest pid that any kernel gives, so that nobody's process can be meant.
IMPOSSIBLE_PID = 4_194_304
CROWD = 3000
SLOW_SECONDS = 5  # from one refresh of the processes to the next
BUSIEST = max(percent for _, _, _, percent, _ in PROCESSES)


class KernelFaultCase(PopupTestCase):
    def setUp(self):
        super().setUp()
        self.root = self.desktop.root / f"machine-{len(list(self.desktop.root.iterdir()))}"
        self.root.mkdir()
        self.kernel = FailingKernel(self.root, self.root)

    def machine(self, **options):
        machine = LivingMachine(self.root, **options)
        self.addCleanup(machine.__exit__)
        return machine.__enter__()

    def open_failing(self, page, settings=""):
        return self.open_page(page, environment=self.kernel.environment(), settings=settings, machine=self.root)


class KernelFaultPages(KernelFaultCase, ProcessPageCase):
    def wait_labels(self, popup, condition, what, seconds=15):
        """The first true answer of the condition about the page's labels."""
        seen = []

        def fulfilled():
            seen[:] = popup.labels()
            return condition(list(seen))

        try:
            return popup.program.wait_for(fulfilled, what, seconds, interval=0.3)
        except DesktopError as error:
            raise AssertionError(f"{error}: {seen}") from error

    def wait_steady_labels(self, popup, wanted, what):
        """The page's labels with those wanted, once two looks found the same: one alone may fall into a change."""
        looks = [[]]

        def steady(labels):
            looks.append(labels)
            return wanted <= set(labels) and labels == looks[-2] and labels

        return self.wait_labels(popup, steady, what)

    # ---- the CPU page ----

    def test_bars_and_page_follow_cores_that_are_switched(self):
        machine = self.machine(cores=8, smt=False)
        machine.online = [0, 1, 2, 3]
        popup = self.open_failing("CPU", figures_settings())
        record = StripRecord(popup.program)
        popup.program.wait_for(
            lambda: record.look() or record.strips and fits(record.newest(), machine.online),
            "the strip", interval=0.1)
        present = machine.online
        for online in [0, 2], [0, 1, 2, 3], list(range(8)), [1, 2, 3], [], [0, 1, 2, 3]:
            with self.subTest(online):
                kept = set(present) & set(online)
                begin = time.time_ns()
                machine.online = present = online
                popup.program.wait_for(
                    lambda: record.look() or record.since(begin) and fits(record.newest(), online),
                    f"bars of cores {online}", interval=0.1)
                for strip in record.since(begin):
                    self.check_kept(strip, online, kept)
                self.wait_labels(popup, lambda labels: rows_fit(labels, online), f"rows of cores {online}")
                popup.find("label", f"CPU Cores ({len(online)})")

    def check_kept(self, strip, online, kept):
        """A core that was there before is shown as ever, at once; another one is never shown busier than it is."""
        if len(strip.bars) != len(online):
            return  # read before the change
        for bar, core in zip(strip.bars, online):
            self.assertLess(bar, LOADS[core] + 0.05, strip)
            if core in kept:
                self.assertGreater(bar, LOADS[core] - 0.05, strip)

    # ---- the GPU page ----

    def test_card_and_its_clients_go_and_come(self):
        self.machine(gpus=2)
        popup = self.open_failing("GPU")
        usual = self.wait_steady_labels(popup, {"71%", "34%", "render", "2600M"}, "both cards")
        self.kernel.put("open ENODEV /sys/class/drm/card0/*", "list ENODEV /sys/class/drm*")
        self.wait_labels(popup, lambda labels: "0%" in labels and "34%" in labels and "71%" not in labels,
                         "the other card alone")
        self.kernel.heal()
        self.wait_labels(popup, lambda labels: labels == usual, "both cards again")

        for faults, gone in ((["list EACCES /proc/*/fd"], {"render", "Xorg", "Web Browser"}),
                             (["read 0 ESRCH /proc/4711/fdinfo/*"], {"render"}),
                             (["list ESRCH /proc/958/fd", "open ESRCH /proc/958/*"], {"Xorg"}),
                             (["list EMFILE /proc"], {"render", "Xorg"})):
            with self.subTest(faults):
                self.kernel.put(*faults)
                self.reopen(popup, "GPU")
                labels = self.wait_labels(popup, lambda labels: "71%" in labels and labels, "the page")
                self.assertEqual(gone & set(labels), set(), labels)
                self.kernel.heal()
                self.reopen(popup, "GPU")
                self.wait_labels(popup, lambda labels: labels == usual, "all clients again")

    # ---- the pages of processes ----

    def test_processes_come_back_after_their_files_failed(self):
        self.machine()
        popup = self.open_failing("All Processes")
        self.wait_busiest(popup)
        for fault, fits in {
            "list EACCES /proc": lambda rows: rows == {},
            "entry 0 EIO /proc": lambda rows: rows == {},
            "entry 9 EIO /proc": lambda rows: len(rows) < 9,
            "open ENFILE /proc/*": lambda rows: rows == {},
            "cut 0 /proc/*": lambda rows: rows == {},
            "read 0 ESRCH /proc/4711/stat": lambda rows: rows and "render" not in rows,
        }.items():
            with self.subTest(fault):
                self.kernel.put(fault)
                self.reopen(popup, "All Processes")  # reads them at once
                popup.program.wait_for(
                    lambda: (rows := self.shown(popup)) is not None and fits(rows),
                    "what is left", 2 * SLOW_SECONDS, interval=0.2)
                self.kernel.heal()
                self.reopen(popup, "All Processes")
                self.wait_busiest(popup)

    def shown(self, popup):
        """The names in the table with their CPU figures; none while it changes."""
        if popup.find_all("label", "Collecting data..."):
            return {}
        rows = self.present_rows(popup)
        return rows and {row.name: row.cpu for row in rows}

    def wait_busiest(self, popup):
        """Until the busiest process has its figure, as nearly as the machine writes it; none ever leaps beyond."""
        def recovered():
            rows = self.shown(popup) or {}
            self.assertLess(max(rows.values(), default=0), 2 * BUSIEST, rows)
            return rows.get("render", 0) > 0.5 * BUSIEST

        popup.program.wait_for(recovered, "the busiest process", 3 * SLOW_SECONDS, interval=0.3)

    def test_crowd_that_is_another_at_each_refresh(self):
        crowds = [self.crowd(number) for number in range(3)]
        self.swap(crowds[0])
        popup = self.open_failing("All Processes")
        stop = threading.Event()
        swapping = threading.Thread(target=lambda: [
            self.swap(crowds[turn % 3]) for turn in range(1000) if not stop.wait(1.3)], daemon=True)
        swapping.start()
        self.addCleanup(swapping.join)
        self.addCleanup(stop.set)
        seen = set()

        def all_seen():
            rows = self.rows(popup)
            self.assertEqual(len(rows), 20)
            for row in rows:
                self.assertLessEqual(row.cpu, 0, row.name)
            seen.add(rows[0].name[:7])
            return len(seen) > 1

        popup.program.wait_for(all_seen, "another crowd", 6 * SLOW_SECONDS, interval=0.5)
        self.desktop.press("Escape")
        popup.wait_hidden(5)

    def crowd(self, number):
        """The /proc of thousands of processes of one name and of pids that no other crowd has."""
        proc = self.root / f"proc-{number}"
        for pid in range(IMPOSSIBLE_PID + number * CROWD, IMPOSSIBLE_PID + (number + 1) * CROWD):
            directory = proc / str(pid)
            directory.mkdir(parents=True)
            (directory / "stat").write_text(
                f"{pid} (crowd {number}) R 1 1 1 0 -1 0 0 0 0 0 {pid} 7 0 0 20 0 1 0 {pid} 4096 8 0\n")
            (directory / "status").write_text(f"Name:\tcrowd {number}\nUid:\t{USER[0]}\t0\t0\t0\n")
        return proc

    def swap(self, proc):
        (self.root / "etc").mkdir(exist_ok=True)
        (self.root / "etc/passwd").write_text(PASSWD)
        link = self.root / "next"
        link.symlink_to(proc)
        link.rename(self.root / "proc")


class KernelFaultSettings(KernelFaultCase, SettingsCase):
    def test_devices_that_are_missing_can_be_chosen_once_they_are_back(self):
        self.machine()
        self.kernel.put("open EACCES /proc/net/dev", "list EIO /sys/class/drm")
        popup = self.open_failing("Settings", "[general]\nselectedGPU=Unplugged\nselectedNetwork=usb7\n")
        combo = popup.find("combo box", "NET:")
        self.scroll_to(popup, combo)
        popup.click(combo)  # there is nothing to choose
        time.sleep(0.3)
        self.assertEqual(popup.find_all("menu item"), [])
        self.kernel.heal()
        self.reopen(popup, "Settings")
        combo = popup.find("combo box", "NET:")
        self.scroll_to(popup, combo)
        self.choose_in(popup, combo, "wlan0 (up)")
        self.wait_saved("general", "selectedNetwork", "wlan0")
        self.assertEqual(self.saved()["general"]["selectedGPU"], "Unplugged")


def fits(strip, online):
    return bars_alike(strip.bars, [LOADS[core] for core in online])


def rows_fit(labels, online):
    """Whether the page has these cores' figures from top to bottom."""
    figures = [int(text[:-1]) for text in labels if re.fullmatch(r"\d+%", text)]
    wanted = [100 * LOADS[core] for core in online]
    return len(figures) == len(wanted) and all(abs(a - b) < 4 for a, b in zip(figures, wanted))


if __name__ == "__main__":
    unittest.main()
