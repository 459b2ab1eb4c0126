"""Exports from the window: joined, separate clips, a copy, cancel, and closing while one runs."""
import filecmp

import pytest
import recording
from places import windows_path
from window import NO, OK, YES

COMPLETE = "Export complete — File ▸ Show last export in Explorer"
SEPARATE_CLIPS, JOINED = 301, 300
STILL_RUNS = "An export is still running.\n\nCancel the export and close Velkantrix?"


def export_to(window, path):
    window.keys("CTRL+SHIFT+S")
    window.wait_for_dialog()
    window.keys("CTRL+A")
    window.ask("type " + windows_path(path))
    window.keys("ENTER")


def length(path):
    return max(packet.end for packet in recording.first(recording.read(path), "video").packets)


def test_what_is_left_is_written_into_one_file(edited, tmp_path):
    edited.keys("DELETE")
    edited.wait_for_text("Clip removed — Ctrl+Z to undo")
    export_to(edited, tmp_path / "out.mp4")
    edited.wait_for_text(COMPLETE)
    assert length(tmp_path / "out.mp4") == pytest.approx(5, abs=0.6)
    assert recording.decoding_complaints(tmp_path / "out.mp4") == ""
    assert edited.close() == 0  # what was exported isn't asked about


def test_an_unedited_video_is_copied_byte_for_byte(paused, media, tmp_path):
    export_to(paused, tmp_path / "copy.mp4")
    paused.wait_for_text(COMPLETE)
    assert filecmp.cmp(media / "closed.mp4", tmp_path / "copy.mp4", shallow=False)


def test_clips_are_written_one_by_one(edited, tmp_path):
    edited.post(0x111, SEPARATE_CLIPS)
    edited.keys("F2")
    edited.wait_for(lambda: "Edit" in edited.state()["children"], "the field")
    edited.ask("type a/b?")
    edited.keys("ENTER")
    folder = tmp_path / "clips"
    folder.mkdir()
    export_to(edited, folder)
    edited.wait_for_text(COMPLETE)
    assert sorted(file.name for file in folder.iterdir()) == ["02 - a-b-.mp4", "clip-01.mp4"]
    for file in folder.iterdir():
        assert recording.decoding_complaints(file) == ""


def test_the_source_as_the_target_is_left_alone(start, media, tmp_path):
    source = tmp_path / "own.mp4"
    source.write_bytes((media / "closed.mp4").read_bytes())
    window = start(windows_path(source))
    window.wait_for_picture()
    export_to(window, source)
    window.wait_for(lambda: (window.box() or {"count": 0})["count"] == 2, "the dialog's question")
    window.answer_one(YES)
    window.wait_for_no_box()
    window.settle()
    assert source.read_bytes() == (media / "closed.mp4").read_bytes()
    assert "Preparing native export…" not in window.drawn()


@pytest.fixture
def large(play):
    """A recording that takes a while to export, with a cut in it."""
    window = play("large")
    window.keys("SPACE")
    window.keys("RIGHT")  # away from the beginning, where nothing is split
    window.keys("S")
    window.wait_for_text("Split created")
    return window


def test_a_cancelled_export_leaves_nothing(large, tmp_path):
    target = tmp_path / "out.mp4"
    export_to(large, target)
    large.wait_for_text("Exporting  ")
    large.keys("CTRL+SHIFT+S")
    large.wait_for(lambda: "Export cancelled" in large.drawn() or COMPLETE in large.drawn(), "the end")
    if "Export cancelled" in large.drawn():
        assert not target.exists()


def test_an_export_that_fails_tells_why(edited, tmp_path):
    folder = tmp_path / "folder.mp4"
    folder.mkdir()
    edited.post(0x111, SEPARATE_CLIPS)
    (folder / "clip-01.mp4").mkdir()  # in the way
    export_to(edited, folder)
    box = edited.wait_for(lambda: next((b for b in [edited.box()] if b and b["title"] == "Velkantrix"), None), "a box")
    assert box["texts"][0].startswith("Export failed.\n\n")
    edited.answer(OK)
    edited.wait_for_text("Export failed")


def test_closing_while_an_export_runs_asks(large, tmp_path):
    export_to(large, tmp_path / "out.mp4")
    large.wait_for_text("Exporting  ")
    large.post(0x10)
    box = large.wait_for_box()
    assert box["texts"] == [STILL_RUNS]
    large.answer(NO)
    assert large.state()["window"]
