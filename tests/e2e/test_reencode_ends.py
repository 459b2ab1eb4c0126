"""Re-encodes that don't go as they should, and those into separate files: what is said and what is left."""
import json
import os
import shutil
import signal

import encoded
import make_media
import places
import pytest
from test_command_line import files_in

OLD = b"another recording"


def events(said):
    return [json.loads(line) for line in said.splitlines()]


def cancel_in_the_middle(cut, media, output, *words):
    """Sends SIGINT when pictures have been written; what it says until its end."""
    process = cut.start(media / "closed.mp4", output, "0-10", "1-11", more=["--json", *words])
    said = ""
    while not said or events(said)[-1].get("seconds", 0) <= 0:
        line = process.stdout.readline()
        assert line, f"it ended: {said}"
        said += line
    process.send_signal(signal.SIGINT)
    rest, error = process.communicate(timeout=60)
    assert process.returncode == 1, "it was over too soon"
    assert error == "velkantrix-cut: Export cancelled\n"
    return events(said + rest)


@pytest.mark.parametrize("words", [["--quality", "1080"], ["--quality", "source", "--exposure", "0.5"]])
def test_cancelled_in_the_middle_it_leaves_nothing(cut, media, tmp_path, monkeypatch, words):
    monkeypatch.setenv("RIG_WRITER_PACE", "2")
    said = cancel_in_the_middle(cut, media, tmp_path / "cut.mp4", *words)
    assert said[-1] == {"event": "error", "message": "Export cancelled"}
    assert 0 < max(event.get("seconds", 0) for event in said) < 20
    assert not files_in(tmp_path)


def test_cancelled_in_the_middle_it_leaves_what_was_there(cut, media, tmp_path, monkeypatch):
    monkeypatch.setenv("RIG_WRITER_PACE", "2")
    (tmp_path / "cut.mp4").write_bytes(OLD)
    cancel_in_the_middle(cut, media, tmp_path / "cut.mp4", "--quality", "source")
    assert files_in(tmp_path) == ["cut.mp4"]
    assert (tmp_path / "cut.mp4").read_bytes() == OLD


@pytest.mark.parametrize("old", [False, True])
def test_a_full_disk_is_told_and_leaves_what_was_there(cut, media, monkeypatch, small_folder, old):
    monkeypatch.setenv("RIG_WRITER_LOSSLESS", "1")  # a lot of bytes
    output = small_folder / "cut.mp4"
    if old:
        output.write_bytes(OLD)
    result = cut(media / "large.mp4", output, "0-39", more=["--quality", "source"])
    assert result.returncode == 1
    assert "(0x80070070)" in result.stderr
    assert files_in(small_folder) == (["cut.mp4"] if old else [])
    assert not old or output.read_bytes() == OLD


def test_a_source_that_is_not_there_is_told(cut, tmp_path):
    result = cut(tmp_path / "none.mp4", tmp_path / "cut.mp4", "0-1", more=["--quality", "720"])
    assert result.returncode == 1
    assert "(0x80070002)" in result.stderr
    assert not files_in(tmp_path)


def test_a_source_that_vanishes_leaves_nothing_that_looks_complete(cut, media, tmp_path, monkeypatch):
    """Its bytes are gone, after some of them were read."""
    monkeypatch.setenv("RIG_WRITER_PACE", "4")
    source, output = tmp_path / "source.mp4", tmp_path / "cut.mp4"
    shutil.copy(media / "hour.mp4", source)
    process = cut.start(source, output, "0-1000", more=["--json", "--quality", "source"])
    while json.loads(process.stdout.readline()).get("seconds", 0) <= 0:
        pass
    os.truncate(source, 0)
    said, error = process.communicate(timeout=60)
    last = events(said)[-1]
    if process.returncode == 1:
        assert error == f"velkantrix-cut: {last['message']}\n"
        assert not output.exists()
    else:  # it ends where its bytes did, and says so
        assert process.returncode == 0
        assert last["event"] == "done"
        assert last["length"] < 900
        assert last["length"] == pytest.approx(encoded.end_of(encoded.probe(output)["video"]), abs=0.1)


def test_a_source_that_breaks_off_is_kept_up_to_there(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    result = cut(media / "truncated-data.mp4", output, "1-8", more=["--quality", "source"])
    assert result.returncode == 0, result.stderr
    found = encoded.times(output)
    assert 100 < len(found) < 200
    assert result.stdout.endswith(" (00:07.000 asked for)\n")
    assert encoded.complaints(output) == ""


def test_a_part_behind_the_last_picture_is_refused_and_leaves_what_was_there(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    output.write_bytes(OLD)
    result = cut(media / "video-short.mp4", output, "8-9", more=["--quality", "source"])
    assert result.returncode == 1
    assert result.stderr == "velkantrix-cut: No picture of the video lies within what was to be exported.\n"
    assert files_in(tmp_path) == ["cut.mp4"]
    assert output.read_bytes() == OLD


@pytest.mark.parametrize("name", ["text", "empty", "truncated", "audio-only"])
def test_what_is_no_video_is_refused(cut, media, tmp_path, name):
    result = cut(media / f"{name}.mp4", tmp_path / "cut.mp4", "0-1", more=["--quality", "480"])
    assert result.returncode == 1
    assert result.stderr.startswith("velkantrix-cut: ")
    assert "(0x" in result.stderr
    assert not files_in(tmp_path)


def test_the_source_is_never_the_output(cut, media, tmp_path):
    source = tmp_path / "own.mp4"
    shutil.copy(media / "short.mp4", source)
    result = cut(source, tmp_path / "OWN.mp4", "0-1", more=["--quality", "source"])
    assert result.returncode == 1
    assert result.stderr == "velkantrix-cut: The export would overwrite the video it is reading.\n"
    assert make_media.digest(source) == make_media.digest(media / "short.mp4")


# ---- separate files ---------------------------------------------------------------------------------------


def apart(cut, source, folder, *parts, more=()):
    keep = [word for part in parts for word in ("--keep", part)]
    return cut.raw(places.windows_path(source), "--separate", places.windows_path(folder), *keep, *more)


SPANS = [(0.5, 1.2), (4, 4.8), (2.02, 2.5)]
PARTS = [f"{start}-{end}" for start, end in SPANS]


def test_separate_files_hold_a_part_each(cut, media, tmp_path):
    source = media / "closed.mp4"
    result = apart(cut, source, tmp_path, *PARTS, more=["--quality", "480", "--fade-in", "2:0.4", "--json"])
    assert (result.returncode, result.stderr) == (0, "")
    assert sorted(files_in(tmp_path)) == ["clip-01.mp4", "clip-02.mp4", "clip-03.mp4"]
    said = events(result.stdout)
    progress, done = said[:-1], said[-1]
    seconds = [event["seconds"] for event in progress]
    assert seconds == sorted(seconds)
    assert seconds[-1] == pytest.approx(1.98) == progress[0]["total"]
    assert done["output"] == places.windows_path(tmp_path)
    assert done["length"] == pytest.approx(1.98, abs=0.1)
    for number, (file, span) in enumerate(zip(done["files"], SPANS, strict=True), start=1):
        path = tmp_path / f"clip-0{number}.mp4"
        assert file["output"] == places.windows_path(path)
        assert file["length"] == pytest.approx(span[1] - span[0], abs=0.05)
        encoded.check_form(path, (852, 480))
        encoded.check_times(encoded.times(path), encoded.expected(encoded.times(source), [span]))
    dark, bright = encoded.pictures(tmp_path / "clip-02.mp4", (2, 2))[0], encoded.pictures(source, (2, 2))[120]
    assert max(dark) <= 18 < min(bright)


def test_separate_files_are_copied_where_nothing_is_to_be_encoded(cut, media, tmp_path):
    result = apart(cut, media / "closed.mp4", tmp_path, "1-2", "3.5-4.5")
    assert (result.returncode, result.stderr) == (0, "")
    lines = result.stdout.splitlines()
    assert [line.split(": ")[0] for line in lines] == \
        [f"Wrote {places.windows_path(tmp_path / f'clip-0{number}.mp4')}" for number in (1, 2)]
    assert lines[1].endswith(" (00:01.000 asked for)")
    cut(media / "closed.mp4", tmp_path / "joined.mp4", "3.5-4.5")
    assert (tmp_path / "clip-02.mp4").read_bytes() == (tmp_path / "joined.mp4").read_bytes()


def test_separate_files_replace_what_was_there(cut, media, tmp_path):
    (tmp_path / "clip-02.mp4").write_bytes(OLD)
    (tmp_path / "clip-03.mp4").write_bytes(OLD)
    assert apart(cut, media / "closed.mp4", tmp_path, *PARTS[:2], more=["--quality", "source"]).returncode == 0
    assert sorted(files_in(tmp_path)) == ["clip-01.mp4", "clip-02.mp4", "clip-03.mp4"]
    encoded.check_form(tmp_path / "clip-02.mp4", (320, 180))
    assert (tmp_path / "clip-03.mp4").read_bytes() == OLD


def test_a_file_that_can_not_be_replaced_is_told_before_any_is_written(cut, media, tmp_path):
    (tmp_path / "clip-03.mp4").mkdir()
    result = apart(cut, media / "closed.mp4", tmp_path, *PARTS, more=["--quality", "source"])
    assert result.returncode == 1
    assert result.stderr.startswith("velkantrix-cut: ")
    assert files_in(tmp_path) == ["clip-03.mp4"]


def test_the_source_is_never_one_of_the_files(cut, media, tmp_path):
    shutil.copy(media / "short.mp4", tmp_path / "clip-02.mp4")
    result = apart(cut, tmp_path / "clip-02.mp4", tmp_path, "0-1", "1-2", more=["--quality", "source"])
    assert result.returncode == 1
    assert result.stderr == "velkantrix-cut: The export would overwrite the video it is reading.\n"
    assert files_in(tmp_path) == ["clip-02.mp4"]
    assert make_media.digest(tmp_path / "clip-02.mp4") == make_media.digest(media / "short.mp4")


def test_a_folder_that_is_not_there_is_told(cut, media, tmp_path):
    result = apart(cut, media / "closed.mp4", tmp_path / "none", "1-2")
    assert result.returncode == 1
    assert result.stderr.startswith("velkantrix-cut: There is no such folder: ")
    assert not files_in(tmp_path)


def test_fades_are_never_left_out_of_separate_files(cut, media, tmp_path):
    result = apart(cut, media / "closed.mp4", tmp_path, "1-2", more=["--fade-in", "1:0.5"])
    assert result.returncode == 2
    assert "to render them give --quality source." in result.stderr
    assert not files_in(tmp_path)


def is_complete(path):
    return path.exists() and not encoded.complaints(path)


def test_cancelled_separate_files_leave_only_complete_ones(cut, media, tmp_path, monkeypatch):
    monkeypatch.setenv("RIG_WRITER_PACE", "2")
    (tmp_path / "clip-03.mp4").write_bytes(OLD)
    words = [places.windows_path(media / "closed.mp4"), "--separate", places.windows_path(tmp_path), "--json",
             "--quality", "source", "--keep", "0-0.2", "--keep", "1-11", "--keep", "1-11"]
    process = cut.start_raw(*words)
    while not is_complete(tmp_path / "clip-01.mp4"):  # the others take seconds from then on
        assert process.poll() is None, process.communicate()
    process.send_signal(signal.SIGINT)
    said, _ = process.communicate(timeout=60)
    assert process.returncode == 1
    assert events(said)[-1] == {"event": "error", "message": "Export cancelled"}
    assert sorted(files_in(tmp_path)) == ["clip-01.mp4", "clip-03.mp4"]
    assert len(encoded.times(tmp_path / "clip-01.mp4")) == 6
    assert (tmp_path / "clip-03.mp4").read_bytes() == OLD
