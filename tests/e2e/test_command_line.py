"""velkantrix-cut as scripts use it: exit codes, texts, progress, and what it leaves behind."""
import json
import random
import re
import signal
import subprocess

import make_media
import places
import pytest
import recording

ROOT = places.ROOT


def files_in(folder):
    return [p.name for p in folder.iterdir()]


# ---- arguments ----------------------------------------------------------------------------------


def test_help_is_on_standard_output(cut):
    result = cut.raw("--help")
    assert result.returncode == 0
    assert result.stdout.startswith("usage: velkantrix-cut INPUT OUTPUT --keep START-END")
    assert result.stderr == ""


def test_version_is_the_projects(cut):
    listed = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    version = listed.split("project(velkantrix VERSION ")[1].split()[0]
    assert cut.raw("--version").stdout == f"velkantrix-cut {version}\n"


@pytest.mark.parametrize("words, problem", [
    ([], "No input file is named."),
    (["a.mp4"], "No output file is named."),
    (["a.mp4", "b.mp4"], "Nothing to keep: give --keep START-END at least once."),
    (["a.mp4", "b.mp4", "--keep", "5"], "--keep needs START-END, in seconds or hh:mm:ss.mmm: 5"),
    (["a.mp4", "b.mp4", "--slow"], "Unknown option: --slow"),
    (["a.mp4", "b.mp4", "--keep", "5-2"], "A part must begin before it ends: 00:05.000 to 00:02.000"),
])
def test_arguments_that_cannot_be_meant_end_with_two(cut, words, problem):
    result = cut.raw(*words)
    assert result.returncode == 2
    assert result.stderr.startswith(f"velkantrix-cut: {problem}\n\nusage: ")
    assert result.stdout == ""


def test_a_part_behind_the_end_is_a_failure(cut, media, tmp_path):
    result = cut(media / "closed.mp4", tmp_path / "cut.mp4", "99-")
    assert result.returncode == 1
    assert result.stderr == ("velkantrix-cut: A part begins behind the end of the video: 01:39.000, "
                             "and it ends at 00:12.000\n")
    assert not files_in(tmp_path)


def test_open_ends_are_the_sources_own(cut, media, tmp_path):
    cut(media / "closed.mp4", tmp_path / "open.mp4", "-2", "9-")
    cut(media / "closed.mp4", tmp_path / "given.mp4", "0-2", "0:09-00:00:12.000")
    assert (tmp_path / "open.mp4").read_bytes() == (tmp_path / "given.mp4").read_bytes()


def test_times_may_be_written_as_a_clock_shows_them(cut, media, tmp_path):
    cut(media / "closed.mp4", tmp_path / "clock.mp4", "0:04-00:00:07.500")
    cut(media / "closed.mp4", tmp_path / "seconds.mp4", "4-7.5")
    assert (tmp_path / "clock.mp4").read_bytes() == (tmp_path / "seconds.mp4").read_bytes()


def test_names_may_hold_spaces_and_any_script(cut, media, tmp_path):
    output = tmp_path / "Schönes Video – 日本.mp4"
    result = cut(media / "closed.mp4", output, "1-2")
    assert result.returncode == 0
    assert "Schönes Video – 日本.mp4" in result.stdout
    assert files_in(tmp_path) == [output.name]


# ---- spans at the edges -------------------------------------------------------------------------


def test_a_span_past_the_end_is_the_last_group_of_pictures(cut, media, tmp_path):
    """The reader is set behind the end, and delivers from the keyframe at or before."""
    output = tmp_path / "cut.mp4"
    assert cut(media / "closed.mp4", output, "100-110").returncode == 0
    source = recording.first(recording.read(media / "closed.mp4"), "video")
    found = recording.first(recording.read(output), "video")
    assert [p.digest for p in found.packets] == [p.digest for p in source.packets[-30:]]


def test_a_span_that_ends_past_the_end_runs_to_it(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    assert cut(media / "closed.mp4", output, "10.5-1000").returncode == 0
    assert len(recording.first(recording.read(output), "video").packets) == 60


def test_a_source_that_breaks_off_is_kept_up_to_there(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    result = cut(media / "truncated-data.mp4", output, "1-8")
    assert result.returncode == 0
    source = recording.first(recording.read(media / "tables-first.mp4"), "video").packets
    found = recording.first(recording.read(output), "video").packets
    assert 100 < len(found) < 200
    assert [p.digest for p in found] == [p.digest for p in source[30:30 + len(found)]]
    # It says how much there was.
    assert f": 00:0{max(p.end for p in found):.1f}" in result.stdout
    assert result.stdout.endswith(" (00:07.000 asked for)\n")


def test_an_existing_output_is_replaced(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    output.write_text("old", encoding="utf-8")
    assert cut(media / "closed.mp4", output, "1-2").returncode == 0
    assert recording.first(recording.read(output), "video").packets
    assert files_in(tmp_path) == ["cut.mp4"]


def test_a_failure_leaves_an_existing_output_alone(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    output.write_text("another recording", encoding="utf-8")
    for name in ("audio-only", "text", "none"):
        assert cut(media / f"{name}.mp4", output, "1-2").returncode == 1
        assert output.read_text(encoding="utf-8") == "another recording"
        assert files_in(tmp_path) == ["cut.mp4"]


def test_a_folder_is_no_output(cut, media, tmp_path):
    (tmp_path / "folder").mkdir()
    result = cut(media / "closed.mp4", tmp_path / "folder", "1-2")
    assert result.returncode == 1
    assert result.stderr.startswith("velkantrix-cut: The output is a folder: ")
    assert files_in(tmp_path) == ["folder"]


def test_a_read_only_output_stays(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    output.write_text("old", encoding="utf-8")
    output.chmod(0o444)
    result = cut(media / "closed.mp4", output, "1-2")
    assert result.returncode == 1
    assert output.read_text(encoding="utf-8") == "old"
    assert files_in(tmp_path) == ["cut.mp4"]


def test_a_url_is_no_source(cut, media, tmp_path):
    url = "file:///" + places.windows_path(media / "closed.mp4").replace("\\", "/")
    result = cut.raw(url, places.windows_path(tmp_path / "cut.mp4"), "--keep", "1-2")
    assert result.returncode == 1
    assert not files_in(tmp_path)


# ---- progress -----------------------------------------------------------------------------------


def test_json_lines_tell_progress_and_result(cut, media, tmp_path):
    output = tmp_path / "cut.mp4"
    result = cut(media / "large.mp4", output, "0-39", more=["--json"])
    assert result.returncode == 0
    assert result.stderr == ""
    events = [json.loads(line) for line in result.stdout.splitlines()]
    progress, done = events[:-1], events[-1]
    assert all(e["event"] == "progress" and e["total"] == 39 for e in progress)
    assert progress[0]["seconds"] == 0
    assert progress[0]["remaining"] is None
    assert progress[-1]["seconds"] == 39
    assert [e["seconds"] for e in progress[:-1]].count(39) == 0
    assert done["event"] == "done"
    assert done["output"] == places.windows_path(output)
    assert done["length"] == pytest.approx(39, abs=0.05)


def test_json_tells_a_failure_too(cut, media, tmp_path):
    result = cut(media / "text.mp4", tmp_path / "cut.mp4", "0-1", more=["--json"])
    assert result.returncode == 1
    error = json.loads(result.stdout)
    assert error["event"] == "error"
    assert result.stderr == f"velkantrix-cut: {error['message']}\n"


def test_without_a_console_there_is_no_progress_line(cut, media, tmp_path):
    result = cut(media / "large.mp4", tmp_path / "cut.mp4", "0-39")
    assert result.stderr == ""
    assert result.stdout == f"Wrote {places.windows_path(tmp_path / 'cut.mp4')}: 00:39.019 (00:39.000 asked for)\n"


@pytest.mark.usefixtures("own_screen")
def test_a_console_shows_one_line_with_the_time_left(cut, media, tmp_path):
    driver = places.BUILD / "tests" / "e2e" / "show-console.exe"
    output = tmp_path / "cut.mp4"
    # The same part over and over: long enough for many looks at the screen.
    result = subprocess.run(
        [places.RUN, str(driver), places.windows_path(cut.program), places.windows_path(media / "large.mp4"),
         places.windows_path(output), *["--keep", "0-39"] * 6],
        capture_output=True, text=True, encoding="utf-8", timeout=60, check=False)
    output.unlink()
    assert result.returncode == 0, result
    lines = result.stdout.splitlines()
    progress = [line for line in lines if line.startswith("Exporting  ")]
    others = [line for line in lines if line not in progress]
    time = r"\d\d:\d\d\.\d\d\d"
    assert any(re.fullmatch(rf"Exporting  \d+%   ·   {time} / 03:54.000   ·   about {time} remaining", line)
               for line in progress), lines
    assert "Exporting  100%   ·   03:54.000 / 03:54.000" in progress
    assert len(others) <= 3 and others[0].startswith("Wrote Z:")


# ---- refusals: the reason is said, nothing is left, the source stays as it is -----------------------


@pytest.mark.parametrize("name", ["none", "text", "empty", "truncated", "audio-only"])
def test_what_is_no_video_is_refused(cut, media, tmp_path, name):
    source = media / f"{name}.mp4"
    before = make_media.digest(source) if source.exists() else None
    result = cut(source, tmp_path / "cut.mp4", "1-8")
    assert result.returncode == 1
    assert result.stderr.startswith("velkantrix-cut: ")
    assert "(0x" in result.stderr
    assert result.stderr.count("\n") == 1
    assert not files_in(tmp_path)
    if before:
        assert make_media.digest(source) == before


def test_a_missing_folder_is_refused(cut, media, tmp_path):
    result = cut(media / "closed.mp4", tmp_path / "none" / "cut.mp4", "1-2")
    assert result.returncode == 1
    assert "(0x80070003)" in result.stderr
    assert not files_in(tmp_path)


@pytest.mark.parametrize("name", ["Holiday.mp4", "HOLIDAY.mp4", "./Holiday.mp4", "Holiday.mp4.", "link.mp4"])
def test_the_source_is_never_the_output(cut, media, tmp_path, name):
    source = tmp_path / "Holiday.mp4"
    source.write_bytes((media / "closed.mp4").read_bytes())
    (tmp_path / "link.mp4").hardlink_to(source)
    before = make_media.digest(source)
    result = cut.raw(places.windows_path(source), places.windows_path(tmp_path) + "\\" +
                     name.replace("/", "\\"), "--keep", "1-2")
    assert result.returncode == 1
    assert result.stderr == "velkantrix-cut: The export would overwrite the video it is reading.\n"
    assert make_media.digest(source) == before
    assert sorted(files_in(tmp_path)) == ["Holiday.mp4", "link.mp4"]


# ---- cancelling -----------------------------------------------------------------------------------


@pytest.mark.usefixtures("own_screen")
def test_ctrl_c_cancels_and_leaves_nothing(cut, media, tmp_path):
    """A driver inside Windows starts the program in a console of its own and presses Ctrl+C there, at
    twenty moments. Every second time a file stands in the output's place already."""
    driver = places.BUILD / "tests" / "e2e" / "press-ctrl-c.exe"
    output = tmp_path / "cut.mp4"
    before = make_media.digest(media / "large.mp4")
    moments = random.Random(20261120)
    # Done, cancelled, or ended by the system before the program listens (the low byte of
    # STATUS_CONTROL_C_EXIT, 0xC000013A): then it has not begun either.
    ended = {0: 0, 1: 0, 0x3A: 0}
    for i in range(20):
        if i % 2:
            output.write_text("old", encoding="utf-8")
        result = subprocess.run(
            [places.RUN, str(driver), str(moments.randrange(0, 1000)), places.windows_path(cut.program),
             places.windows_path(media / "large.mp4"), places.windows_path(output),
             *["--keep", "0-39"] * 6],
            capture_output=True, text=True, encoding="utf-8", timeout=60, check=False)
        assert result.returncode in ended, result
        ended[result.returncode] += 1
        if result.returncode == 1:
            assert "Export cancelled" in result.stdout
        if result.returncode != 0:
            assert files_in(tmp_path) == (["cut.mp4"] if i % 2 else [])
            assert not i % 2 or output.read_text(encoding="utf-8") == "old"
        assert len(files_in(tmp_path)) <= 1
        output.unlink(missing_ok=True)
    assert ended[1] >= 5, "too few were cancelled before they were done"
    assert make_media.digest(media / "large.mp4") == before


def test_an_interrupt_of_the_terminal_cancels_too(cut, media, tmp_path):
    """SIGINT, as a terminal of the host sends it."""
    output = tmp_path / "cut.mp4"
    cancelled = 0
    for _ in range(5):
        process = cut.start(media / "large.mp4", output, *["0-39"] * 3, more=["--json"])
        assert json.loads(process.stdout.readline())["event"] == "progress"
        process.send_signal(signal.SIGINT)
        said = process.communicate(timeout=60)[0]
        assert process.returncode in (0, 1)
        assert output.exists() == (process.returncode == 0)
        if process.returncode == 1:
            cancelled += 1
            assert json.loads(said.splitlines()[-1]) == {"event": "error", "message": "Export cancelled"}
    assert cancelled
