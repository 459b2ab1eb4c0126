"""The program's window, used as a user does, and what is seen of it: texts drawn, the screen, boxes."""
import json
import os
import queue
import re
import subprocess
import threading
import time

from places import BUILD, ROOT, RUN, windows_path

PROGRAM = BUILD / "app" / "Velkantrix.exe"
DRIVER = BUILD / "tests" / "e2e" / "drive-window.exe"
LONGEST_WAIT = 30  # seconds, for anything that is waited for
STILL_WITHIN = 8  # seconds; less than a recording lasts, which stands still at its end in any case

LOGGED = {"VELKANTRIX_PRESENTLOG": "1", "VELKANTRIX_ENGLOG": "1"}
PRESENT = re.compile(r" *(?P<seconds>[\d.]+) (?P<picture>preview|engine ) engine= *(?P<engine>[\d.-]+) "
                     r"preview= *(?P<preview>[\d.-]+) tick= *(?P<tick>[\d.-]+) target= *(?P<target>[\d.-]+) "
                     r"owner=(?P<owner>\w+) gen=(?P<gen>\d+) waitplay=(?P<waitplay>[01])$")
EVENT = re.compile(r"^ *(?P<seconds>\d+\.\d{3}) ev=(?P<event>\d+) p1=\d+ p2=\d+$")
LOADED_METADATA, SEEKING, VOLUME_CHANGE = 10, 16, 22  # of the engine's events

CANNOT_OPEN = "Windows Media Foundation could not open this video."
UNSAVED = "Your edits haven't been exported.\n\nOpen a new video without exporting?"
UNSAVED_AT_THE_END = "Your edits haven't been exported.\n\nClose without exporting?"

STILL_RUNS = "An export is still running.\n\nCancel the export and close Velkantrix?"
COMPLETE = "Export complete — File ▸ Show last export in Explorer"
CANCELLED = "Export cancelled"
CANCELLING = "Cancelling…"
PROMPT = "Type a clip name — Enter saves, Tab next clip, Esc cancels"

WS_POPUP = 0x80000000
WS_OVERLAPPEDWINDOW = 0x00CF0000
TIME = r"(?:\d\d:)?\d\d:\d\d\.\d{3}"
INFO = re.compile(rf"Clip (\d+)/(\d+)  ·  ({TIME}) / ({TIME})$")
# Of a popup menu's items, as the system draws them: one line, in the middle, maybe without underlines.
MENU_TEXT = re.compile(r'DrawTextExW L"((?:[^"\\]|\\.)*)", -?\d+, \[\((-?\d+),(-?\d+)\)-\(-?\d+,-?\d+\)\] '
                       "00[01]00024\r?$", re.MULTILINE)

WM_CLOSE, WM_COMMAND, WM_EXITSIZEMOVE, WM_DPICHANGED = 0x10, 0x111, 0x232, 0x2E0
YES, NO, OK = 6, 7, 1
SEPARATE_CLIPS = 301  # a command
FILE_NAME = 0x480  # the id of a file dialog's text field


class Window:
    """One run of the program. `end` ends it, whatever it does."""

    def __init__(self, folder, *arguments, environment=None):
        self.folder = folder
        self.trace = folder / "trace.txt"
        self.trace.write_bytes(b"")
        self.mark = 0
        words = [RUN, "--trace", str(self.trace), str(DRIVER), windows_path(PROGRAM), *arguments]
        self.process = subprocess.Popen(words, cwd=folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True, encoding="utf-8",
                                        env={**os.environ, **(environment or {})})
        self.answers = queue.Queue()
        threading.Thread(target=self.read_answers, daemon=True).start()

    def read_answers(self):
        for line in self.process.stdout:
            self.answers.put(line)
        self.answers.put("")

    def end(self):
        """The driver ends the program, and the system does when the driver is gone."""
        try:
            if self.process.poll() is None:
                self.process.stdin.write("quit\n")
                self.process.stdin.close()
                self.process.wait(LONGEST_WAIT)
        except (OSError, ValueError, subprocess.TimeoutExpired):
            self.process.kill()
            self.process.wait()

    def ask(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        try:
            line = self.answers.get(timeout=LONGEST_WAIT)
        except queue.Empty:
            self.process.kill()
            raise AssertionError(f"no answer; asked: {command}") from None
        assert line, f"the driver is gone; asked: {command}"
        answer = json.loads(line)
        assert "error" not in answer, (command, answer)
        return answer

    def post(self, message, wide=0, long=0):
        self.ask(f"post {message} {wide} {long}")

    def state(self):
        state = self.ask("state")
        assert state["window"], f"the window is gone; the exit code: {self.exit_code()}"
        return state

    def place(self):
        return self.state()["window"]

    def child(self, kind):
        return self.state()["children"][kind]

    def video(self):
        return self.child("Static")

    def transport(self):
        return self.child("VelkantrixTransport")

    def keys(self, *names):
        for name in names:
            self.ask(f"keys {name}")

    def track(self):
        """The timeline on the screen, at 96 dpi: left, top, right, bottom."""
        left, top, right, bottom = self.state()["client"]
        return left + 28, bottom - 214, right - 28, bottom - 114

    def point(self, share, down=50):
        """A point of the timeline, as many pixels below its top."""
        left, top, right, _ = self.track()
        return left + round((right - left) * share), top + down

    def mouse(self, what, share, down=50):
        x, y = self.point(share, down)
        self.ask(f"{what} {x} {y}")

    def click_video(self, how="click"):
        left, top, right, bottom = self.video()["rect"]
        self.ask(f"{how} {(left + right) // 2} {(top + bottom) // 2}")

    def box(self):
        return self.ask("box")["box"]

    def box_count(self):
        return (self.box() or {"count": 0})["count"]

    def wait_for_box(self):
        return self.wait_for(self.box, "a box")

    def wait_for_message(self):
        """A box of the program's own, behind which no dialog is any more."""
        return self.wait_for(lambda: next((b for b in [self.box()] if b and b["title"] == "Velkantrix"), None), "a box")

    def answer(self, button):
        self.ask(f"answer {button}")
        self.wait_for_no_box()

    def answer_one(self, button):
        """Answers the top box where there are several."""
        before = self.box_count()
        self.ask(f"answer {button}")
        self.wait_for(lambda: self.box_count() < before, "the box to close")

    def wait_for_dialog(self):
        """The dialog for files, with the focus where it stays."""
        self.wait_for(lambda: (self.box() or {"focus": 0})["focus"] == FILE_NAME, "the dialog")

    def export_to(self, path):
        """Asks for an export and types where it is to be written."""
        self.type_in_dialog(windows_path(path))

    def type_in_dialog(self, name):
        """Likewise, as it is given."""
        self.keys("CTRL+SHIFT+S")
        self.wait_for_dialog()
        self.keys("CTRL+A")
        self.ask("type " + name)
        self.keys("ENTER")

    def cancel_dialog(self):
        self.wait_for_dialog()
        self.keys("ESC")
        self.wait_for_no_box()

    def wait_for_no_box(self):
        self.wait_for(lambda: self.box() is None, "the box to close")

    @staticmethod
    def wait_for(condition, what, seconds=LONGEST_WAIT):
        end = time.monotonic() + seconds
        while True:
            value = condition()
            if value:
                return value
            assert time.monotonic() < end, f"waited in vain for {what() if callable(what) else what}"
            time.sleep(0.02)

    def wait_for_window(self):
        self.wait_for(lambda: self.ask("state")["window"], "a window")

    def wait_for_picture(self):
        self.wait_for(lambda: self.video()["visible"], "the picture")

    def wait_for_title(self, name):
        self.wait_for(lambda: self.state()["title"] == f"{name} - Velkantrix", f"the title of {name}")
        self.wait_for_picture()

    def wait_for_fullscreen(self):
        self.wait_for(lambda: self.place() == [0, 0, WIDTH, HEIGHT], "fullscreen")

    def wait_for_place(self, place):
        self.wait_for(lambda: self.place() == place, f"the window at {place}")

    def settle(self):
        """Waits until all that was posted before has been handled: so has a change of scale, then."""
        height = size_of(self.transport()["rect"])[1]
        for dpi in (192, 96):
            self.post(WM_DPICHANGED, dpi << 16 | dpi)
            self.wait_for(lambda: (size_of(self.transport()["rect"])[1] == height) == (dpi == 96), "another scale")

    # What is drawn with DrawText; see the rig's manual for how the trace writes it.
    def drawn(self):
        """All texts since the last forget()."""
        data = self.trace.read_bytes()[self.mark:].decode("utf-8", "replace")
        return [unescape(text) for text in re.findall(r'DrawTextExW L"((?:[^"\\]|\\.)*)"', data)]

    def open_menu(self, letter):
        """Opens a menu of the bar by its letter."""
        self.forget()
        self.keys(f"ALT+{letter}")
        self.wait_for_menu()

    def wait_for_menu(self):
        self.wait_for(lambda: self.ask("menu")["menu"], "the menu")

    def wait_for_no_menu(self):
        self.wait_for(lambda: not self.ask("menu")["menu"], "the menu to close")

    def menu_items(self):
        """The texts of popup menus that were drawn since the last forget(), and whether they can be chosen: the
        system draws one that can't twice, a pixel apart. Not while the mark is on it."""
        data = self.trace.read_bytes()[self.mark:].decode("utf-8", "replace")
        seen = {(unescape(text), int(left), int(top)): None for text, left, top in MENU_TEXT.findall(data)}
        return {text: (text, left + 1, top + 1) not in seen for text, left, top in seen
                if (text, left - 1, top - 1) not in seen}

    def wait_for_item(self, text, enabled=True):
        self.wait_for(lambda: self.menu_items().get(text) == enabled,
                      lambda: f"{text!r} to be {'enabled' if enabled else 'greyed'} in {self.menu_items()}")

    def forget(self):
        self.mark = self.trace.stat().st_size

    def wait_for_text(self, text, seconds=LONGEST_WAIT):
        self.wait_for(lambda: any(text in drawn for drawn in self.drawn()), f"the text {text!r}", seconds)

    def assert_is_empty(self):
        """No video is open. Texts that were drawn before the last forget() are no proof."""
        self.wait_for_text("Cut the wait.")
        self.assert_shows_nothing()
        assert self.box() is None

    def assert_shows_nothing(self):
        state = self.state()
        assert state["title"] == "Velkantrix"
        assert not state["children"]["Static"]["visible"]
        assert not state["children"]["VelkantrixTransport"]["visible"]

    def info(self):
        """The last text of where the playhead is: the clip, of how many, its kept time, of how much."""
        found = [match for match in map(INFO.match, self.drawn()) if match]
        if not found:
            return None
        clip, count, position, total = found[-1].groups()
        return int(clip), int(count), seconds_of(position), seconds_of(total)

    def length_of_first(self):
        """The length of the first clip as it is written last."""
        self.wait_for(lambda: "CLIP 1" in self.drawn(), "the first clip")
        texts = self.drawn()
        last = len(texts) - 1 - texts[::-1].index("CLIP 1")
        return texts[last + 1]

    # The logs, where the program was asked to write them.
    def presents(self):
        """What was presented, line by line."""
        log = self.folder / "present.log"
        if not log.exists():
            return []
        return [parsed for parsed in map(PRESENT.match, log.read_text().splitlines()) if parsed]

    def landings(self, after=0):
        """The frames that seeks landed on after that many presents."""
        return [line for line in self.presents()[after:] if line["owner"] == "frozen"]

    def wait_for_landing(self, after):
        """The times of the frame that the first seek landed on after that many presents, and of its target."""

        def what():
            return (f"a seek to land: {self.engine_events(SEEKING)} began, {len(self.landings())} landed; "
                    f"in front is the window: {self.state()['foreground']}")

        landed = self.wait_for(lambda: self.landings(after), what)[0]
        return float(landed["tick"]), float(landed["target"])

    def seek(self, key):
        """Presses the key; the time of the frame that the seek landed on, and the time asked for."""
        before = len(self.presents())
        self.keys(key)
        return self.wait_for_landing(before)

    def wait_until_playing(self):
        before = len(self.presents())
        self.wait_for(lambda: len(self.presents()) > before + 10, "frames")

    def wait_until_still(self):
        """A picture is there, and no other follows for a quarter of a second, seven frames long. Gives its time."""

        def is_still():
            before = len(self.presents())
            time.sleep(0.25)
            return 0 < before == len(self.presents())

        self.wait_for(is_still, "the picture to stand still", STILL_WITHIN)
        return self.time_on_screen()

    def play_to(self, end):
        """Plays on to `end`, where it pauses by itself; the time of the picture. On the way a busy machine may show
        none for longer than a picture has to stand still."""
        self.wait_for(lambda: self.time_on_screen() > end - 0.1, "the end")
        return self.wait_until_still()

    def time_on_screen(self):
        """Of the frame that was presented last. A picture that is only drawn again has none in the log."""
        return next(tick for tick in (float(line["tick"]) for line in reversed(self.presents())) if tick >= 0)

    def pause(self):
        """Pauses what plays; the time of the picture. Not that of the end, where it pauses by itself."""
        self.keys("SPACE")
        time_of_picture = self.wait_until_still()
        assert time_of_picture < 11
        return time_of_picture

    def engine_events(self, number):
        log = self.folder / "engine.log"
        return log.read_text().count(f" ev={number} ") if log.exists() else 0

    def number_on_screen(self):
        """That the screen itself knows the window by."""
        search = ["xdotool", "search", "--onlyvisible", "--class", "velkantrix.exe"]
        return self.wait_for(lambda: subprocess.run(search, capture_output=True, text=True, check=False).stdout,
                             "the window on the screen").split()[-1]

    def drop(self, *files):
        """Drops files on the middle of the window, as a file manager does."""
        left, top, right, bottom = self.state()["client"]
        subprocess.run([str(ROOT / "tools/rig/tools/drop-files"), self.number_on_screen(), str((left + right) // 2),
                        str((top + bottom) // 2), *map(str, files)], check=True, timeout=LONGEST_WAIT)

    def choose(self, path):
        """Opens the dialog and types the file's name."""
        self.keys("CTRL+O")
        self.wait_for_dialog()
        self.keys("CTRL+A")
        self.ask("type " + windows_path(path))
        self.keys("ENTER")

    def close(self):
        """Closes the window and gives the exit code."""
        self.post(WM_CLOSE)
        return self.exit_code()

    def exit_code(self):
        return self.ask("exit-code")["code"]


def unescape(text):
    return re.sub(r'\\([0-9a-fA-F]{4})|\\(.)',
                  lambda match: chr(int(match[1], 16)) if match[1] else match[2], text)


def seconds_of(text):
    """Of a time as it is written."""
    parts = [float(part) for part in text.split(":")]
    return sum(part * 60 ** place for place, part in enumerate(reversed(parts)))


def size_of(rect):
    return rect[2] - rect[0], rect[3] - rect[1]


WIDTH, HEIGHT = 1920, 1080  # of the rig's screen


def screen():
    """The screen's pixels as RGB bytes, row by row."""
    run = subprocess.run(f"{RUN} --screenshot png:- | ffmpeg -v error -f png_pipe -i - -f rawvideo "
                         "-pix_fmt rgb24 -", shell=True, check=True, capture_output=True, timeout=LONGEST_WAIT)
    assert len(run.stdout) == WIDTH * HEIGHT * 3
    return run.stdout


def pixel(pixels, x, y):
    at = (y * WIDTH + x) * 3
    return tuple(pixels[at:at + 3])
