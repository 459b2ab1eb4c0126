"""The program's window, used as a user does, and what is seen of it: texts drawn, the screen, boxes."""
import json
import os
import re
import subprocess
import time

import conftest

PROGRAM = conftest.BUILD / "app" / "Velkantrix.exe"
DRIVER = conftest.BUILD / "tests" / "e2e" / "drive-window.exe"
LONGEST_WAIT = 30  # seconds, for anything that is waited for

PRESENT = re.compile(r" *(?P<seconds>[\d.]+) (?P<picture>preview|engine ) engine= *(?P<engine>[\d.-]+) "
                     r"preview= *(?P<preview>[\d.-]+) tick= *(?P<tick>[\d.-]+) target= *(?P<target>[\d.-]+) "
                     r"owner=(?P<owner>\w+) gen=(?P<gen>\d+) waitplay=(?P<waitplay>[01])$")

WS_POPUP = 0x80000000
WS_OVERLAPPEDWINDOW = 0x00CF0000
YES, NO, OK = 6, 7, 1


class Window:
    """One run of the program. Ends it when left."""

    def __init__(self, folder, *arguments, environment=None):
        self.folder = folder
        self.trace = folder / "trace.txt"
        self.trace.write_bytes(b"")
        self.mark = 0
        words = [conftest.RUN, "--trace", str(self.trace), str(DRIVER), conftest.windows_path(PROGRAM), *arguments]
        self.process = subprocess.Popen(words, cwd=folder, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True, encoding="utf-8",
                                        env={**os.environ, **(environment or {})})

    def __enter__(self):
        self.wait_for(lambda: self.state()["window"], "a window")
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.stdin.write("quit\n")
            self.process.stdin.close()
            self.process.wait(LONGEST_WAIT)

    def ask(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        line = self.process.stdout.readline()
        assert line, f"the driver is gone; asked: {command}"
        answer = json.loads(line)
        assert "error" not in answer, (command, answer)
        return answer

    def state(self):
        return self.ask("state")

    def child(self, kind):
        return self.state()["children"][kind]

    def video(self):
        return self.child("Static")

    def transport(self):
        return self.child("VelkantrixTransport")

    def keys(self, *names):
        for name in names:
            self.ask(f"keys {name}")

    def box(self):
        return self.ask("box")["box"]

    def wait_for_box(self):
        return self.wait_for(self.box, "a box")

    def answer(self, button):
        self.ask(f"answer {button}")
        self.wait_for(lambda: self.box() is None, "the box to close")

    @staticmethod
    def wait_for(condition, what, seconds=LONGEST_WAIT):
        end = time.monotonic() + seconds
        while True:
            value = condition()
            if value:
                return value
            assert time.monotonic() < end, f"waited in vain for {what}"
            time.sleep(0.02)

    # What is drawn with DrawText; see the rig's manual for how the trace writes it.
    def drawn(self):
        """All texts since the last forget()."""
        data = self.trace.read_bytes()[self.mark:].decode("utf-8", "replace")
        return [unescape(text) for text in re.findall(r'DrawTextExW L"((?:[^"\\]|\\.)*)"', data)]

    def forget(self):
        self.mark = self.trace.stat().st_size

    def wait_for_text(self, text, seconds=LONGEST_WAIT):
        self.wait_for(lambda: any(text in drawn for drawn in self.drawn()), f"the text {text!r}", seconds)

    # The log of what was presented, where the program was asked to write it.
    def presents(self):
        log = self.folder / "present.log"
        if not log.exists():
            return []
        return [parsed for parsed in map(PRESENT.match, log.read_text().splitlines()) if parsed]

    def wait_for_landing(self, after):
        """The frame time of the first seek that landed after that many presents."""
        landed = self.wait_for(lambda: [line for line in self.presents()[after:] if line["owner"] == "frozen"],
                               "a seek to land")
        return float(landed[-1]["tick"]), float(landed[-1]["target"])

    def drop(self, *files):
        """Drops files on the middle of the window, as a file manager does."""
        window = subprocess.run(["xdotool", "search", "--onlyvisible", "--class", "velkantrix.exe"], check=True,
                                capture_output=True, text=True).stdout.split()[-1]
        left, top, right, bottom = self.state()["client"]
        subprocess.run([str(conftest.ROOT / "tools/rig/tools/drop-files"), window, str((left + right) // 2),
                        str((top + bottom) // 2), *map(str, files)], check=True)

    def choose(self, path):
        """Opens the dialog and types the file's name."""
        self.keys("CTRL+O")
        self.wait_for_box()
        time.sleep(0.3)  # the dialog takes the focus a little after it is there
        self.keys("CTRL+A")
        self.ask("type " + conftest.windows_path(path))
        self.keys("ENTER")

    def close(self):
        """Closes the window and gives the exit code."""
        self.ask("post 16 0 0")
        return self.ask("exit-code")["code"]


def unescape(text):
    return re.sub(r'\\([0-9a-fA-F]{4})|\\(.)',
                  lambda match: chr(int(match[1], 16)) if match[1] else match[2], text)


WIDTH, HEIGHT = 1920, 1080  # of the rig's screen


def screen():
    """The screen's pixels as RGB bytes, row by row."""
    run = subprocess.run(f"{conftest.RUN} --screenshot png:- | ffmpeg -v error -f png_pipe -i - -f rawvideo "
                         "-pix_fmt rgb24 -", shell=True, check=True, capture_output=True)
    assert len(run.stdout) == WIDTH * HEIGHT * 3
    return run.stdout


def pixel(pixels, x, y):
    at = (y * WIDTH + x) * 3
    return tuple(pixels[at:at + 3])
