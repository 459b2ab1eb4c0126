"""velkantrix-mp4 as scripts use it: arguments, exit codes, texts, and files that are no good."""
import json
import os
import shutil

import conftest
import pytest
import reference

PLAIN = ["probe", "video", "audio"]


def failed(result, reason):
    return (result.returncode, result.stderr) == (1, f"velkantrix-mp4: {reason}\n")


# ---- arguments --------------------------------------------------------------------------------------


def test_help_is_on_standard_output(tool):
    result = tool.run("--help")
    assert (result.returncode, result.stderr) == (0, "")
    assert result.stdout.startswith("usage: velkantrix-mp4 FILE [--samples] [--keyframe SECONDS] [--claim]\n")


def test_version_is_the_projects(tool):
    listed = (conftest.ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    version = listed.split("project(velkantrix VERSION ")[1].split()[0]
    assert tool.run("--version").stdout == f"velkantrix-mp4 {version}\n"


@pytest.mark.parametrize("words, problem", [
    ([], "No file is named."),
    (["--samples"], "No file is named."),
    (["a.mp4", "b.mp4"], "One file too many: b.mp4"),
    ([""], "A file's name is empty."),
    (["a.mp4", "--slow"], "Unknown option: --slow"),
    (["a.mp4", "--keyframe"], "--keyframe needs seconds, such as 12.5."),
    (["--keyframe", "a.mp4"], "--keyframe needs seconds, such as 12.5: a.mp4"),
    (["a.mp4", "--größe"], "Unknown option: --größe"),
])
def test_arguments_that_cannot_be_meant_end_with_two(tool, words, problem):
    result = tool.run(*words)
    assert (result.returncode, result.stdout) == (2, "")
    assert result.stderr == f"velkantrix-mp4: {problem} (--help tells more)\n"


@pytest.mark.parametrize("seconds", ["-1", "+1", "1e3", "inf", "nan", "0x10", "1,5", ".5", "5.", "", " 1", "1 ",
                                     "1.2.3", "9" * 400])
def test_keyframe_wants_a_plain_number(tool, files, seconds):
    result = tool.run(files["plain-b2"], "--keyframe", seconds)
    assert (result.returncode, result.stdout) == (2, "")
    assert result.stderr.startswith("velkantrix-mp4: --keyframe needs seconds")


def test_options_stand_before_or_behind_the_file(tool, files):
    path = files["plain-b2"]
    orders = [(path, "--samples", "--keyframe", "1"), ("--keyframe", "1", path, "--samples"),
              ("--samples", "--keyframe", "1", "--", path)]
    answers = [tool.run(*words).stdout for words in orders]
    assert answers[0] and answers == [answers[0]] * 3
    assert list(json.loads(answers[0])) == [*PLAIN, "samples", "editOffset", "audioSamples", "keyframe"]


def test_behind_two_dashes_everything_is_a_file(tool, files, tmp_path):
    shutil.copy(files["plain-b2"], tmp_path / "--samples")
    result = tool.run("--", "--samples", cwd=tmp_path)
    assert result.returncode == 0
    assert list(json.loads(result.stdout)) == PLAIN


def test_names_may_hold_spaces_and_any_script(tool, files, tmp_path):
    path = tmp_path / "Schönes Video – 日本 😀.mp4"
    shutil.copy(files["plain-b2"], path)
    assert tool.run(path, "--samples").stdout == tool.run(files["plain-b2"], "--samples").stdout


def test_a_name_need_not_be_text(tool, files, tmp_path):
    path = os.fsencode(tmp_path) + b"/\xff.mp4"
    shutil.copy(os.fsencode(files["plain-b2"]), path)
    assert tool.run(os.fsdecode(path)).returncode == 0


# ---- what can't be opened -----------------------------------------------------------------------------


def test_a_missing_file_is_a_failure(tool, tmp_path):
    result = tool.run("Größe 日本.mp4", cwd=tmp_path)
    assert failed(result, "Can't open Größe 日本.mp4")
    assert result.stdout == ""


def test_the_reason_is_one_line_whatever_the_name(tool, tmp_path):
    assert failed(tool.run("a\nb\x1b[1m.mp4", cwd=tmp_path), "Can't open a?b?[1m.mp4")


def test_a_folder_is_no_file(tool, tmp_path):
    result = tool.run(tmp_path, "--samples")
    assert failed(result, f"Can't open {tmp_path}")
    assert result.stdout == ""


def test_a_pipe_is_no_file(tool, tmp_path):
    os.mkfifo(tmp_path / "pipe.mp4")
    assert failed(tool.run(tmp_path / "pipe.mp4"), f"Can't open {tmp_path / 'pipe.mp4'}")


def test_an_output_that_takes_nothing_is_a_failure(files):
    with open("/dev/full", "w", encoding="utf-8") as full:
        tool = conftest.Mp4Tool()
        result = conftest.subprocess.run([tool.program, str(files["plain-b2"]), "--samples"], stdout=full, check=False,
                                         stderr=conftest.subprocess.PIPE, encoding="utf-8", timeout=60)
    assert failed(result, "The output can't be written.")


# ---- what is damaged: all that can be read is printed ---------------------------------------------------

NOTHING = {"valid": False, "trackId": 0, "timescale": 0, "randomAccess": []}
NO_VIDEO = {**NOTHING, "fragmented": False, "width": 0, "height": 0, "avcConfig": ""}
NO_AUDIO = {**NOTHING, "sampleRate": 0, "channels": 0, "audioConfig": ""}


def probe(starts_with_ftyp=True, moofs=0, reached_end=True):
    return {"startsWithFtyp": starts_with_ftyp, "hasMoof": moofs > 0, "moofCount": moofs, "reachedEnd": reached_end,
            "largeFragmented": False}


def test_an_empty_file_has_no_box(tool, files):
    result = tool.run(files["broken-empty"], "--samples", "--keyframe", "3")
    assert failed(result, "No box can be read at byte 0.")
    assert json.loads(result.stdout) == {
        "probe": probe(False, reached_end=False), "video": NO_VIDEO, "audio": NO_AUDIO, "samples": [],
        "audioSamples": [], "keyframe": {"ok": False, "timeSeconds": 0, "size": 0, "crc32": 0}}


@pytest.mark.parametrize("name, starts_with_ftyp", [("broken-text", False), ("broken-without-tables", True)])
def test_a_last_box_that_runs_over_the_end_is_no_failure_until_samples_are_missing(tool, files, name, starts_with_ftyp):
    expected = {"probe": probe(starts_with_ftyp), "video": NO_VIDEO, "audio": NO_AUDIO}
    assert tool.read(files[name]) == expected
    result = tool.run(files[name], "--samples")
    assert failed(result, "The file is cut off, and no video track can be read.")
    assert json.loads(result.stdout) == {**expected, "samples": [], "audioSamples": []}


def test_half_a_header_behind_the_last_box_is_said(tool, files, raw):
    whole = tool.read(files["plain-b2"], "--samples")
    result = tool.run(files["broken-half-a-header-behind"], "--samples")
    assert failed(result, f"No box can be read at byte {len(raw('plain-b2').data)}.")
    assert json.loads(result.stdout) == {**whole, "probe": probe(reached_end=False)}


def test_a_box_that_is_too_small_is_said(tool, files, raw):
    whole = tool.read(files["plain-b2"], "--samples")
    result = tool.run(files["broken-too-small-box-behind"], "--samples")
    assert failed(result, f"The box at byte {len(raw('plain-b2').data)} is smaller than its header.")
    assert json.loads(result.stdout) == {**whole, "probe": probe(reached_end=False)}


def test_a_plain_file_that_breaks_off_is_printed_up_to_there(tool, files):
    path = files["broken-plain-cut"]
    whole = tool.read(files["plain-tables-first"], "--samples")
    size = path.stat().st_size
    there = [s for s in whole["samples"] if s["offset"] + s["size"] <= size]
    assert 30 < len(there) < 80
    assert tool.read(path)["probe"] == probe()
    result = tool.run(path, "--samples")
    assert failed(result, f"The video samples break off behind the first {len(there)}.")
    assert json.loads(result.stdout) == {**whole, "samples": there}


def test_a_fragmented_file_that_breaks_off_is_printed_up_to_there(tool, files):
    path = files["broken-fragmented-cut"]
    data = path.read_bytes()
    whole = tool.read(files["fragmented-b2"], "--samples")
    result = tool.run(path, "--samples")
    answer = json.loads(result.stdout)
    assert answer["probe"] == probe(moofs=4)
    there = [s for s in whole["samples"] if s["offset"] + s["size"] <= len(data)]
    assert 45 <= len(there) < 60
    assert failed(result, f"The video samples break off behind the first {len(there)}.")
    assert answer["samples"] == [
        {**s, "crc32": reference.crc(data[s["offset"]:s["offset"] + s["size"]])} for s in there]
    audio = whole["audioSamples"][:len(answer["audioSamples"])]
    assert answer["audioSamples"] and [s["offset"] for s in answer["audioSamples"]] == [s["offset"] for s in audio]


def test_more_samples_than_sizes_break_off_behind_the_last_size(tool, files):
    whole = tool.read(files["plain-video-only"], "--samples")
    assert tool.read(files["broken-more-samples-than-sizes"])["video"] == whole["video"]
    result = tool.run(files["broken-more-samples-than-sizes"], "--samples")
    assert failed(result, f"The video samples break off behind the first {len(whole['samples'])}.")
    assert json.loads(result.stdout) == whole


DISAGREE = "The video track's tables are broken off, or contradict each other."


@pytest.mark.parametrize("damage, other", [
    ("size-of-sync-samples", {"pts", "keyframe"}), ("fewer-compositions-stated", {"pts"}),
    ("half-the-compositions", {"pts"}), ("times-of-fewer", {"pts", "dts", "duration"}),
    ("other-number-of-sync-samples", {"keyframe"}), ("fewer-samples-stated", set())])
def test_damaged_tables_are_said_behind_all_that_they_still_give(tool, files, damage, other):
    """Only the fields that a table is for may be others."""
    whole = tool.read(files["plain-b2"], "--samples")["samples"]
    result = tool.run(files[f"broken-{damage}"], "--samples")
    assert failed(result, DISAGREE)
    samples = json.loads(result.stdout)["samples"]
    assert len(samples) == len(whole) // (2 if damage == "fewer-samples-stated" else 1)
    for found, expected in zip(samples, whole):
        assert {k: v for k, v in found.items() if k not in other} == {
            k: v for k, v in expected.items() if k not in other}
    assert tool.run(files[f"broken-{damage}"]).returncode == 0


def test_samples_in_front_of_fragments_that_are_missing_are_not_all(tool, files, raw):
    result = tool.run(files["broken-cut-in-front-of-the-fragments"], "--samples")
    assert failed(result, DISAGREE)
    track = raw("fragmented-behind-samples").first("vide")
    assert reference.said(json.loads(result.stdout)["samples"]) == reference.of_boxes(
        raw("fragmented-behind-samples"), track.samples)


@pytest.mark.parametrize("name, reason", [
    ("many-boxes-first", "There is no moov among the file's first 64 boxes."),
    ("only-media", "There is no moov among the file's first 64 boxes."),
    ("moov-too-long", "The moov is longer than 256 MiB."),
    ("trak-over-the-moov", "The moov's boxes break off: tracks may be missing."),
    ("zeros-in-front-of-a-track", "The moov's boxes break off: tracks may be missing.")])
def test_a_track_that_cannot_be_found_is_said_when_samples_are_asked_for(tool, files, name, reason):
    answer = tool.read(files[f"broken-{name}"])
    assert (answer["probe"]["reachedEnd"], answer["video"]) == (True, NO_VIDEO)
    result = tool.run(files[f"broken-{name}"], "--samples")
    assert failed(result, reason)
    assert json.loads(result.stdout) == {**answer, "samples": [], "audioSamples": []}


def test_a_file_without_a_video_track_has_no_samples_and_no_fault(tool, files):
    answer = tool.read(files["plain-audio-only"], "--samples")
    assert (answer["samples"], "editOffset" in answer) == ([], False)


def test_a_keyframe_that_cannot_be_had_is_no_failure(tool, files):
    assert not tool.read(files["broken-only-media"], "--keyframe", "1")["keyframe"]["ok"]


def test_the_edit_offset_is_a_plain_files(tool, files):
    assert "editOffset" not in tool.read(files["plain-b2"])
    assert "editOffset" not in tool.read(files["fragmented-with-edit-list"], "--samples")
