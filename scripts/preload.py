"""Libraries loaded into a program ahead of its own."""

import os
from pathlib import Path


def preloaded(library):
    """The variables with which the program is to be started."""
    # A sanitized program wants the sanitizer to be the first one loaded, unless told that it need not.
    sanitizer = ":".join(filter(None, [os.environ.get("ASAN_OPTIONS"), "verify_asan_link_order=0"]))
    return {"LD_PRELOAD": str(Path(library).resolve()), "ASAN_OPTIONS": sanitizer}
