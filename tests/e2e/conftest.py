"""What the end-to-end tests share: the program as it is shipped, the sample recordings, and a way to run
one on the other. Run inside the rig by tools/test."""
import os
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))
import make_media  # noqa: E402
from choice import pytest_addoption, pytest_collection_modifyitems  # noqa: E402, F401

BUILD = Path(os.environ.get("VELKANTRIX_BUILD", ROOT / "build" / "windows-release"))
RUN = os.environ.get("VELKANTRIX_RUN", str(ROOT / "tools" / "rig" / "run"))
LONGEST_RUN = 120  # seconds; a run that takes longer hangs


def windows_path(path):
    """A path of this machine as a Windows program sees it."""
    return "Z:" + str(path).replace("/", "\\")


@pytest.fixture(scope="session")
def media():
    folder = ROOT / "build" / "media"
    make_media.make_all(folder)
    return folder


class Cut:
    """Runs velkantrix-cut."""

    program = BUILD / "tools" / "velkantrix-cut" / "velkantrix-cut.exe"

    @staticmethod
    def words(source, output, *parts, more=()):
        keep = [word for part in parts for word in ("--keep", part)]
        return [RUN, str(Cut.program), windows_path(source), windows_path(output), *keep, *more]

    def __call__(self, source, output, *parts, more=()):
        return self.raw(*self.words(source, output, *parts, more=more)[2:])

    def raw(self, *words):
        return subprocess.run([RUN, str(self.program), *words], capture_output=True, text=True,
                              encoding="utf-8", timeout=LONGEST_RUN, check=False,
                              stdin=subprocess.DEVNULL)

    def start(self, source, output, *parts, more=()):
        return subprocess.Popen(self.words(source, output, *parts, more=more), text=True,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, encoding="utf-8")


@pytest.fixture
def cut():
    return Cut()
