"""The build under test as users get it: installed.

    CMAKE=cmake BUILD_DIRECTORY=build/release

name the tool and the build.
"""

import os
import subprocess
from pathlib import Path


def install(prefix):
    subprocess.run([os.environ["CMAKE"], "--install", build_directory(), "--prefix", prefix], check=True,
                   stdout=subprocess.DEVNULL)


def build_directory():
    return Path(os.environ["BUILD_DIRECTORY"]).resolve()
