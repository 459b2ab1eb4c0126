"""What the comparisons of MP4 files share: the program, built with sanitizers, and the files. Run inside the rig
by tools/test."""
import functools
import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))
import boxes  # noqa: E402
import mp4_files  # noqa: E402
from choice import pytest_addoption, pytest_collection_modifyitems  # noqa: E402, F401

BUILD = Path(os.environ.get("VELKANTRIX_BUILD", ROOT / "build" / "native"))
LONGEST_RUN = 120  # seconds; a run that takes longer hangs


class Mp4Tool:
    """Runs velkantrix-mp4."""

    program = BUILD / "tools" / "velkantrix-mp4" / "velkantrix-mp4"

    def run(self, *words, **more):
        return subprocess.run([self.program, *map(str, words)], capture_output=True, timeout=LONGEST_RUN, check=False,
                              stdin=subprocess.DEVNULL, encoding="utf-8", **more)

    @functools.cache
    def read(self, path, *options):
        """What it says about a file that it must be able to read."""
        result = self.run(path, *options)
        assert (result.returncode, result.stderr) == (0, ""), result.stderr
        return json.loads(result.stdout)


@pytest.fixture(scope="session")
def tool():
    return Mp4Tool()


@pytest.fixture(scope="session")
def files():
    """All files by name."""
    return mp4_files.make_all(ROOT / "build" / "media" / "mp4")


@pytest.fixture(scope="session")
def raw(files):
    """A file's boxes, by its name."""
    return functools.cache(lambda name: boxes.File(files[name]))
