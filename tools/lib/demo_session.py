#!/usr/bin/env python3
"""demo_session.py VIDEO FOLDER: drives the real program by keys and mouse through its main job, leaves
screenshots and the exported file in FOLDER, and says what it did. Inside the rig."""
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "e2e"))
sys.dont_write_bytecode = True
from places import RUN, windows_path  # noqa: E402
from window import LOGGED, WM_EXITSIZEMOVE, Window  # noqa: E402

COMPLETE = "Export complete — File ▸ Show last export in Explorer"


class Demo:
    def __init__(self, video, folder):
        self.folder = folder
        self.number = 0
        self.window = Window(folder, windows_path(video), environment=LOGGED)

    def say(self, what, shown=True):
        """Tells what was just done, with a screenshot."""
        self.number += 1
        name = f"{self.number}.png"
        if shown:
            self.window.post(WM_EXITSIZEMOVE)  # a picture that stands still is presented once more
        time.sleep(0.4)
        subprocess.run([str(RUN), "--screenshot", str(self.folder / name)], check=True)
        print(f"{name}  {what}")

    def run(self):
        window = self.window
        window.wait_for_window()
        window.wait_for_picture()
        window.wait_until_playing()
        self.say("opened a recording, which plays", shown=False)
        window.keys("SPACE")
        window.wait_until_still()
        window.seek("HOME")
        for _ in range(2):
            window.seek("RIGHT")
            window.forget()
            window.keys("S")
            window.wait_for_text("Split created")
        self.say("paused, and split it at 5 and at 10 seconds")
        window.mouse("press", 5 / 40)
        window.mouse("move", 7 / 40)
        self.say("dragging the cut between the first two clips", shown=False)
        window.mouse("release", 7 / 40)
        window.wait_for_text("Cut 1–2  00:07.0")
        window.keys("ESC")
        window.mouse("click", 8.5 / 40, 70)
        window.wait_for_text("Ready")
        window.keys("DELETE")
        window.wait_for_text("Clip removed — Ctrl+Z to undo")
        self.say("removed the clip in the middle")
        window.keys("F2")
        window.wait_for(lambda: "Edit" in window.state()["children"], "the field for the name")
        window.ask("type The rest")
        self.say("naming the last clip")
        window.keys("ENTER")
        self.export()

    def export(self):
        window = self.window
        target = self.folder / "exported.mp4"
        target.unlink(missing_ok=True)
        window.keys("CTRL+SHIFT+S")
        window.wait_for_dialog()
        self.say("choosing where the export goes", shown=False)
        window.keys("CTRL+A")
        window.ask("type " + windows_path(target))
        window.keys("ENTER")
        window.wait_for_text(COMPLETE)
        self.say("exported what is left, without re-encoding")
        length = subprocess.run(["ffprobe", "-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0",
                                 str(target)], check=True, capture_output=True, text=True).stdout.strip()
        print(f"{target.name}  {target.stat().st_size} bytes, {float(length):.3f} seconds of 40")


def main():
    folder = Path(sys.argv[2])
    for old in folder.glob("*.png"):
        old.unlink()
    demo = Demo(Path(sys.argv[1]), folder)
    try:
        demo.run()
    finally:
        demo.window.end()


if __name__ == "__main__":
    main()
