"""What the end-to-end tests share: the program as it is shipped, the sample recordings, and a way to run
one on the other. Run inside the rig by tools/test."""
import fcntl
import os
import shutil
import subprocess
import sys
from pathlib import Path

import pytest
from places import BUILD, ROOT, RUN, windows_path
from window import LOGGED, Window

sys.path.insert(0, str(ROOT / "tests" / "support"))
import choice  # noqa: E402
import make_media  # noqa: E402

LONGEST_RUN = 120  # seconds; a run that takes longer hangs


def pytest_addoption(parser):
    choice.pytest_addoption(parser)
    parser.addoption("--windows", choices=["with", "without", "alone"],
                     help="only the tests that use the screen, those that can run beside them, or the few beside "
                          "which nothing can")


def pytest_collection_modifyitems(config, items):
    choice.pytest_collection_modifyitems(config, items)
    asked = config.getoption("--windows")
    if asked:
        choice.keep(config, items, lambda item: asked == place_of(item))


def place_of(item):
    if "own_system" in item.fixturenames:
        return "alone"
    return "with" if "own_screen" in item.fixturenames else "without"


@pytest.fixture
def small_folder(request):
    """On a disk of 16 MiB, which the large recording doesn't fit on. One test at a time has it."""
    disk = os.environ.get("RIG_SMALL_DISK")
    if not disk:
        pytest.skip("this machine permits no mounts")
    folder = Path(disk) / request.module.__name__
    with open(ROOT / "build" / "small-disk.lock", "w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        yield folder
        shutil.rmtree(folder)


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
        return self.start_raw(*self.words(source, output, *parts, more=more)[2:])

    def start_raw(self, *words):
        return subprocess.Popen([RUN, str(self.program), *words], text=True, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="utf-8")


@pytest.fixture
def cut():
    return Cut()


@pytest.fixture
def own_screen():
    """There is one: tests with a window of any program ask for it, and never run side by side."""


@pytest.fixture
def own_system():
    """Tests that end the system's own processes, and with them every program, ask for it."""


@pytest.fixture
def start(tmp_path, own_screen):
    """Starts the window's program, once or several times; what still runs in the end is ended."""
    windows = []

    def start_one(*arguments, folder=tmp_path, **more):
        window = Window(folder, *arguments, **more)
        windows.append(window)
        window.wait_for_window()
        return window

    yield start_one
    for window in windows:
        window.end()


@pytest.fixture
def play(start, media):
    """Starts the program with a recording and waits for its picture."""

    def start_playing(name="closed", **more):
        window = start(windows_path(media / f"{name}.mp4"), **more)
        window.wait_for_picture()
        return window

    return start_playing


@pytest.fixture
def playing(play):
    """A recording that plays, with its logs."""
    return play(environment=LOGGED)


@pytest.fixture
def paused(playing):
    """A recording that stands still at its beginning."""
    playing.pause()
    playing.seek("HOME")  # a frame offered just before may land it, and the right one follows
    assert playing.wait_until_still() == 0
    return playing


@pytest.fixture
def edited(paused):
    """A recording with a cut in it, at 5 seconds."""
    paused.seek("RIGHT")
    paused.keys("S")
    paused.wait_for_text("Split created")
    return paused


@pytest.fixture
def with_hole(paused):
    """What lies between 5 and 10 seconds is removed."""
    paused.seek("RIGHT")
    paused.seek("RIGHT")
    paused.keys("S")
    paused.wait_for_text("Split created")
    paused.seek("LEFT")
    paused.forget()
    paused.keys("S")  # the piece behind it, which is the middle one, is selected
    paused.wait_for_text("Split created")
    assert paused.seek("DELETE") == (10, 10)
    paused.wait_for_text("Clip removed — Ctrl+Z to undo")
    return paused


@pytest.fixture
def own(start, media, tmp_path):
    """Opens a copy of a recording that lies alone in its folder; it stands still at 5 seconds."""
    runs = []

    def open_own(name="closed", folder=None, pace=None, ending=".mp4"):
        folder = folder or tmp_path / "own"
        folder.mkdir(exist_ok=True)
        source = folder / f"own{ending}"
        if not source.exists():
            shutil.copyfile(media / f"{name}.mp4", source)
        runs.append(tmp_path / f"run{len(runs)}")
        runs[-1].mkdir()
        slowed = {"RIG_WRITER_PACE": pace} if pace else {}
        window = start(windows_path(source), folder=runs[-1], environment={**LOGGED, **slowed})
        window.wait_for_picture()
        window.wait_until_playing()
        window.pause()
        window.seek("HOME")
        window.seek("RIGHT")
        window.source = source
        window.before = source.read_bytes()
        return window

    return open_own


@pytest.fixture
def hour(play):
    """A recording that takes half a minute to export, with a cut in it."""
    return with_cut(play("hour", environment={**LOGGED, "RIG_WRITER_PACE": "120"}))


@pytest.fixture
def five_minutes(play):
    """One that takes six seconds."""
    return with_cut(play("five-minutes", environment={**LOGGED, "RIG_WRITER_PACE": "50"}))


@pytest.fixture
def large(play):
    """One of many bytes."""
    return with_cut(play("large", environment=LOGGED))


def with_cut(window):
    """Split at 5 seconds."""
    window.pause()
    window.seek("HOME")
    window.seek("RIGHT")  # away from the beginning, where nothing is split
    window.keys("S")
    window.wait_for_text("Split created")
    return window
