"""Saves over the original: what is asked and said, and the steps that tests of them share."""
import os
import sys

import recording
from places import ROOT, windows_path
from window import NO, OK, WM_COMMAND, YES

sys.path.insert(0, str(ROOT / "tests" / "support"))
import boxes  # noqa: E402

LONG = "VELKANTRIX_LONG" in os.environ

SAVE, OPTIMISE = 166, 167  # commands
CANCEL = "CTRL+SHIFT+S"

SAVING = "Saving — writing the new file beside the original…"
SAVED = "Saved — the original was replaced"
OPENED = ("Resumed at", "Playing")
UNTOUCHED = "Save failed — your original is untouched"
SAVE_CANCELLED = "Save cancelled — your original is untouched"
NOTHING = "Nothing to save — this video is unedited"
REPLACE = ("Replace \"own.mp4\" with your edit?\n\nThe original is written over and can't be recovered. Velkantrix "
           "writes the new file beside it first and only swaps it in once that's finished, so a failure or a cancel "
           "leaves your original untouched.")
NEEDLESS = "This file already seeks well — optimising it would rewrite it for no gain.\n\nRewrite it anyway?"
REWRITE = ("Rewrite \"own.mp4\" so it seeks quickly?\n\nNo frame is re-encoded — the video and audio are copied across "
           "exactly as they are, and only the file's index is rebuilt. Any cuts you have made are not applied. The new "
           "file is written beside the original and swapped in only once it is complete.")
LOSS = ("\"own.mp4\" has 3 tracks; only the first video and the first sound track are kept. The other one would be "
        "lost: more sound, subtitles or other data.\n\nGo on without it?")
LOSES_EDITS = ("Your edits haven't been exported, and optimising doesn't apply them: it rewrites the whole file and "
               "opens it anew. The edits are lost then, and so are the steps to undo.\n\nGo on without your edits?")
LESS = ("The new file seems to be incomplete. The source may be damaged, or have sound without pictures, which can't "
        "always be kept.\n\nReplace the original all the same? It can't be recovered then. Export As writes to a file "
        "of its own instead.")
BEING_SAVED = "\"own.mp4\" is being saved in another window of Velkantrix.\n\nWait until that has finished."
EXPORT_INSTEAD = "\n\nFile ▸ Export As… writes your edit to another file."


def long_run(test):
    """Only with VELKANTRIX_LONG; without it there is no such test."""
    return test if LONG else None


def spoil(path, begin, end):
    """Between these times of a plain file of 12 seconds nothing can be read any more; what lies behind can, by a
    seek."""
    data = bytearray(path.read_bytes())
    for trak in boxes.File(path).moov.all("trak"):
        offsets = trak.one("mdia", "minf", "stbl", "stco").payload
        count = boxes.number(data, offsets + 4)
        for i in range(count * begin // 12, count * end // 12):
            data[offsets + 8 + 4 * i:offsets + 12 + 4 * i] = boxes.words(len(data) * 2)
    path.write_bytes(data)


def cut(window):
    """What lies before 5 seconds is removed."""
    window.keys("S")
    window.wait_for_text("Split created")
    window.seek("LEFT")
    window.keys("DELETE")
    window.wait_for_text("Clip removed")
    return window


def ask(window, keys="CTRL+S", text=REPLACE, default=NO):
    window.forget()
    if isinstance(keys, int):
        window.post(WM_COMMAND, keys)
    else:
        window.keys(keys)
    box = window.wait_for_message()
    assert (box["title"], box["texts"], box["focus"], sorted(box["buttons"])) == \
        ("Velkantrix", [text], default, [YES, NO])


def begin(window):
    ask(window)
    window.answer(YES)
    window.wait_for_text(SAVING)


def answer_and_be_asked(window, text):
    """Yes to the question that stands, whereupon another one does."""
    window.ask(f"answer {YES}")
    window.wait_for(lambda: (window.box() or {"texts": []})["texts"] == [text], "the next question")


def wait_until_saved(window):
    """Until the new file plays."""
    window.wait_for_text(SAVED)  # by when the old picture is hidden
    window.wait_for_picture()
    assert window.box() is None


def save(window):
    ask(window)
    window.answer(YES)
    wait_until_saved(window)


def names(window):
    return sorted(file.name for file in window.source.parent.iterdir())


def length(path):
    return max(packet.end for packet in recording.first(recording.read(path), "video").packets)


def assert_untouched(window):
    assert window.source.read_bytes() == window.before
    assert names(window) == ["own.mp4"]


def assert_refused(window, text, keys="CTRL+S"):
    window.keys(keys)
    assert window.wait_for_message()["texts"] == [text]
    window.answer(OK)
