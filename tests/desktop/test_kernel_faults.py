"""Kernel files that fail while the program runs: what the strip shows meanwhile, and that it recovers.

All faults are tried at once, each on a program of its own. Most programs share one machine, whose cores keep
their shares and whose network is silent, so that the strip stands still: whatever changes, a fault changed it.
"""

import time
import unittest

from desktop_test_case import REFRESH_SECONDS, START_SECONDS, DesktopTestCase, wait_until
from failing_kernel import FailingKernel
from strip_figures import HUES, StripRecord, alike, bars_alike, figures_settings

from living_machine import LivingMachine, net_dev  # one of the scripts

CORES = 4
TEXTS = set(HUES)
HUGE = 20 << 20  # bytes, more than the program reads of any file
WIRED = {"eth0": (7_000_000_000, 7_000_000_000)}
RADIO = {"wlan0": (7_000_000_000, 7_000_000_000)}
FAST = (11_000_000, 11_000_000)  # bytes per second


def everywhere(*faults):
    return [f"{fault} {path}" for fault in faults for path in ("/proc/*", "/sys/*", "/etc/*")]


# What fails, and which figures are then those of a machine that has no such file. CPU % keeps its last figure.
ALL = TEXTS - {"cpuPercent"} | {"bars"}
FAULTS = {
    "stat is gone": (["open ENOENT /proc/stat"], {"bars"}),
    "stat can't be read": (["read 0 EIO /proc/stat"], {"bars"}),
    "stat can't be read to its end": (["chunk 4096 /proc/stat", "read 1 EIO /proc/stat"], set()),
    "stat is empty": (["cut 0 /proc/stat"], {"bars"}),
    "stat comes in pieces": (["chunk 10 /proc/stat"], {"bars"}),
    "meminfo is gone": (["open ENOENT /proc/meminfo"], {"memoryFree"}),
    "meminfo can't be read": (["read 0 EIO /proc/meminfo"], {"memoryFree"}),
    "net/dev is gone": (["open ENOENT /proc/net/dev"], {"networkSpeed"}),
    "net/dev can't be read": (["read 0 EIO /proc/net/dev"], {"networkSpeed"}),
    "net/dev can't be read to its end": (["chunk 130 /proc/net/dev", "read 1 EIO /proc/net/dev"], {"networkSpeed"}),
    "net/dev comes in pieces": (["chunk 7 /proc/net/dev"], set()),
    "net/dev is cut": (["cut 90 /proc/net/dev"], {"networkSpeed"}),
    "the sensor is gone": (["open ENOENT /sys/class/hwmon/*", "list ENOENT /sys/class/hwmon*"], {"temperature"}),
    "the sensor fails": (["read 0 EIO /sys/class/hwmon/*/temp1_input"], {"temperature"}),
    "the sensors can't be listed": (["open EIO */temp1_input", "list EACCES /sys/class/hwmon"], {"temperature"}),
    "the graphics card is gone": (["open ENOENT /sys/class/drm/*", "list ENOENT /sys/class/drm*"], {"gpuPercent"}),
    "the graphics card fails": (["read 0 EIO /sys/class/drm/*"], {"gpuPercent"}),
    "everything is gone": (everywhere("open ENOENT", "list ENOENT"), ALL),
    "everything is forbidden": (everywhere("open EACCES", "list EACCES"), ALL),
    "no descriptors are left": (everywhere("open ENFILE", "list ENFILE"), ALL),
    "nothing can be read": (everywhere("read 0 EIO", "entry 0 EIO"), ALL),
    "everything is empty": (everywhere("cut 0"), ALL),
    "everything is binary": (everywhere("instead {binary}"), ALL),
    "everything is huge": (everywhere("instead {huge}"), ALL),
}


class Patient(StripRecord):
    """A program with faults, and its strips."""

    def __init__(self, program, kernel):
        super().__init__(program)
        self.kernel = kernel


class KernelFaults(DesktopTestCase):
    desktop_options = {"panel": "none"}

    def machine(self, **options):
        """A living machine with a silent network."""
        directory = self.desktop.root / f"machine-{len(list(self.desktop.root.iterdir()))}"
        machine = LivingMachine(directory, cores=CORES, smt=False, **options)
        machine.traffic = dict.fromkeys(machine.traffic, (0, 0))
        self.addCleanup(machine.__exit__)
        return machine.__enter__()

    def patient(self, root, settings=""):
        """A program on a machine, with a directory of its own for its images."""
        directory = self.desktop.root / f"patient-{len(list(self.desktop.root.iterdir()))}"
        directory.mkdir(mode=0o700)
        kernel = FailingKernel(directory, root)
        program = self.start({"XDG_RUNTIME_DIR": str(directory), **kernel.environment()},
                             settings=settings + figures_settings(), machine=root)
        return Patient(program, kernel)

    def watch(self, patients, condition, what, refreshes=10):
        """Looks at all strips until the condition is true."""
        def fulfilled():
            for patient in patients:
                patient.look()
            return condition()

        try:
            return wait_until(fulfilled, refreshes * REFRESH_SECONDS + START_SECONDS, what, interval=0.1)
        except Exception as error:
            raise AssertionError(f"{error}: {[patient.strips[-3:] for patient in patients]}") from error

    def watch_refreshes(self, patients, count):
        """The strips of each that are drawn from now on, until there are so many of all."""
        begin = time.time_ns()
        self.watch(patients, lambda: all(len(patient.since(begin)) >= count for patient in patients),
                   f"{count} more refreshes", count)
        return {patient: patient.since(begin) for patient in patients}

    def wait_steady(self, patients):
        """Waits until each strip stands still, and returns how the first one does."""
        def steady():
            return all(len(patient.strips) > 1 and alike(*patient.strips[-2:]) for patient in patients)

        self.watch(patients, steady, "strips that stand still", 30)
        well = patients[0].newest()
        for patient in patients:
            self.assertTrue(alike(patient.newest(), well), f"{patient.newest()}, not {well}")
        return well

    def without_machine(self):
        """A program that finds no kernel files at all."""
        root = self.desktop.root / "nothing"
        root.mkdir()
        return self.patient(root)

    def variants(self):
        """Files to be read instead of the kernel's."""
        files = {"binary": bytes(range(256)) * 16, "huge": b"\x7fELF\0\xff" * (HUGE // 6)}
        for name, content in files.items():
            (self.desktop.root / name).write_bytes(content)
        return {name: self.desktop.root / name for name in files}

    def test_figures_fail_as_promised_and_recover(self):
        faults = {"nothing": ([], set()), **FAULTS}
        machine = self.machine()
        patients = {name: self.patient(machine.root) for name in faults}
        without_machine = self.without_machine()
        well = self.wait_steady(list(patients.values()))
        nothing = self.watch_refreshes([without_machine], 1)[without_machine][-1]
        self.assertEqual(len(well.bars), CORES)
        self.assertEqual(nothing.bars, [])
        self.assertTrue(all(well.texts.values()), well)

        variants = self.variants()
        for name, (lines, _) in faults.items():
            patients[name].kernel.put(*(line.format(**variants) for line in lines))
        failing = self.watch_refreshes(patients.values(), 2)
        for name, (_, lost) in faults.items():
            for strip in failing[patients[name]][1:]:  # the first one may have been read before
                with self.subTest(name):
                    self.check_failing(strip, well, nothing, lost)

        for patient in patients.values():
            patient.kernel.heal()
        recovering = self.watch_refreshes(patients.values(), 3)
        for name, patient in patients.items():
            with self.subTest(name + ", and recovers"):
                self.check_recovering(recovering[patient], well, nothing)
        self.check_network_lives(machine, patients.values(), well.texts["networkSpeed"])

    def check_failing(self, strip, well, nothing, lost):
        if "bars" in lost:
            self.assertEqual(strip.bars, [])
        else:
            self.assertTrue(bars_alike(strip.bars, well.bars), f"{strip.bars}, not {well.bars}")
        for item in TEXTS:
            expected = nothing if item in lost else well
            self.assertEqual(strip.texts[item], expected.texts[item], f"{item}: {strip}")

    def check_recovering(self, strips, well, nothing):
        """A figure may be lost for a refresh more, or a core yet be without a second reading: but nothing is
        ever shown that is neither."""
        for strip in strips:
            for item, text in strip.texts.items():
                self.assertIn(text, (well.texts[item], nothing.texts[item]), f"{item}: {strips}")
            self.assertIn(len(strip.bars), (0, CORES))
            for bar, usual in zip(strip.bars, well.bars):
                self.assertLess(bar, usual + 0.05, strips)
        self.assertTrue(alike(strips[-1], well), strips)

    def check_network_lives(self, machine, patients, silent):
        """Silence could also be what a program shows that no longer looks."""
        machine.traffic = dict.fromkeys(machine.traffic, FAST)
        self.watch(patients, lambda: all(patient.newest().texts["networkSpeed"] != silent for patient in patients),
                   "the network's figure")

    def test_interfaces_come_and_go_without_a_spike(self):
        machine = self.machine()
        lists = {
            "none": {},
            "only the other": WIRED,
            "renamed": {"radio0": RADIO["wlan0"], **WIRED},
            "started again": {"wlan0": (100, 100), **WIRED},
            "usual": {**RADIO, **WIRED},
            "many": {f"veth{number}": (9_000_000_000, 9_000_000_000) for number in range(3000)},
        }
        for name, counted in lists.items():
            (self.desktop.root / name.replace(" ", "-")).write_text(net_dev(counted))
        (self.desktop.root / "down").write_text("down\n")
        down = f"instead {self.desktop.root}/down /sys/class/net/*/operstate"
        choices = {"the one that is up": ("", []), "all": ("", [down]),
                   "one": ("[general]\nselectedNetwork=wlan0\n", []),
                   "the other one": ("[general]\nselectedNetwork=eth0\n", []),
                   "a missing one": ("[general]\nselectedNetwork=usb7\n", [])}
        patients = {}
        for name, (settings, faults) in choices.items():
            patients[name] = self.patient(machine.root, settings)
            self.watch_refreshes([patients[name]], 1)  # it has read its settings
        # Which one is up is looked at when the program starts.
        self.assertEqual(len({patient.newest().texts["networkSpeed"] for patient in patients.values()}), 1)
        silent = patients["all"].newest().texts["networkSpeed"]
        for name in "only the other", "usual", "none", "usual", "renamed", "usual", "many", "started again":
            for choice, patient in patients.items():
                faults = choices[choice][1]
                patient.kernel.put(*faults, f"instead {self.desktop.root}/{name.replace(' ', '-')} /proc/net/dev")
            for choice, strips in zip(patients, self.watch_refreshes(patients.values(), 1).values()):
                for strip in strips:
                    with self.subTest(name, choice=choice):
                        self.assertEqual(strip.texts["networkSpeed"], silent, strip)
        self.check_each_measures_its_own(machine, patients, silent)

    def check_each_measures_its_own(self, machine, patients, silent):
        """Silence could also be what a program shows that looks at another interface."""
        for patient in patients.values():
            patient.kernel.heal()
        self.watch_refreshes(patients.values(), 2)
        machine.traffic = {"wlan0": FAST, "eth0": (0, 0)}
        own = patients["one"]
        self.watch([own], lambda: own.newest().texts["networkSpeed"] != silent, "the figure of wlan0")
        for name, strips in zip(patients, self.watch_refreshes(patients.values(), 2).values()):
            is_silent = strips[-1].texts["networkSpeed"] == silent
            self.assertEqual(is_silent, name in ("the other one", "a missing one"), f"{name}: {strips}")

    def test_sensor_with_a_new_number_is_found_again(self):
        machine = self.machine()
        patient = self.patient(machine.root)
        usual = self.wait_steady([patient]).texts["temperature"]
        monitors = machine.root / "sys/class/hwmon"
        (monitors / "hwmon0").rename(monitors / "gone")
        (monitors / "gone/name").rename(monitors / "gone/no-name")
        self.watch([patient], lambda: not patient.newest().texts["temperature"], "a strip without it")
        (monitors / "hwmon0").mkdir()  # another chip gets its number
        (monitors / "hwmon0/name").write_text("nvme\n")
        (monitors / "hwmon0/temp1_input").write_text("38850\n")
        for strip in self.watch_refreshes([patient], 2)[patient]:
            self.assertEqual(strip.texts["temperature"], ())
        (monitors / "gone/no-name").rename(monitors / "gone/name")
        (monitors / "gone").rename(monitors / "hwmon4")
        self.watch([patient], lambda: patient.newest().texts["temperature"] == usual, "the same figure again")


if __name__ == "__main__":
    unittest.main()
