"""What a file is said to claim of its video and its sound isn't more than ffprobe finds there: a save asks about what
a file claims and doesn't have."""
import functools
import json
import subprocess

import boxes
import conftest
import make_media
import mp4_files
import pytest
from boxes import full_box, rebuilt, words

MAY_MISS = 1  # seconds, about which nobody is asked
LONGEST_FRAGMENT = 2  # seconds: of the last one only its beginning is claimed
BROKEN_OFF = ["truncated-data", "burst-broken-off"]
# The tables of these are wrong on purpose; and an hour's packets take long.
LEFT_OUT = {"plain-without-sync-samples", "hour", "large"}
SHORT = [name for name in mp4_files.SOUND if name not in LEFT_OUT]
LONGER = [name for name in make_media.RECIPES if name not in LEFT_OUT]


PICTURES = 15360  # the track's ticks in a second
SHOWN = {
    "first second": [(1000, 0)],
    "last second": [(1000, 2 * PICTURES)],
    "without its middle": [(500, 0), (500, 5 * PICTURES // 2)],
    "without its beginning": [(1500, 3 * PICTURES // 2)],
}


def with_edits(folder, path, edits):
    """plain-b2 of whose video only these edits of (milliseconds, from tick) are shown; its sound is all there."""
    file = boxes.File(folder / "plain-b2.mp4")
    trak = next(t for t in file.moov.all("trak") if t.all("mdia", "minf", "vmhd"))
    elst, start = trak.one("edts", "elst"), file.first("vide").edits[0][1]
    new = full_box("elst", 0, 0, words(len(edits)), *(words(length, start + at, 0x10000) for length, at in edits))
    path.write_bytes(file.data[:file.moov.start]
                     + rebuilt(file.data, file.moov, lambda data, b: new if b.start == elst.start else None))


def broken_off(source, path):
    """A fragmented recording whose last fragment lacks its end, which is sound."""
    data = source.read_bytes()
    last = [box for box in boxes.parse(data) if box.kind == "mdat"][-1]
    path.write_bytes(data[:last.end - 100])


@pytest.fixture(scope="session")
def media(files, tmp_path_factory):
    """All recordings by name."""
    folder, edited = conftest.ROOT / "build" / "media", tmp_path_factory.mktemp("edited")
    make_media.make_all(folder)
    for name, edits in SHOWN.items():
        with_edits(folder / "mp4", edited / f"{name}.mp4", edits)
    return {**{name: folder / f"{name}.mp4" for name in [*LONGER, *BROKEN_OFF]}, **files,
            **{name: edited / f"{name}.mp4" for name in SHOWN}}


@functools.cache
def found(path):
    """By ffprobe: the file's length, and of the first video and of all sound where they begin and end, in seconds."""
    command = ["ffprobe", "-v", "error", "-show_entries",
               "format=duration:stream=index,codec_type:packet=stream_index,pts_time,duration_time,flags", "-of", "json",
               str(path)]
    said = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)
    ends = {}
    for stream in said["streams"]:
        packets = [(float(p["pts_time"]), float(p.get("duration_time", 0))) for p in said["packets"]
                   if p["stream_index"] == stream["index"] and "pts_time" in p and "D" not in p["flags"]]
        if packets:
            ends.setdefault(stream["codec_type"], []).append(
                (min(pts for pts, _ in packets), max(pts + duration for pts, duration in packets)))
    return float(said["format"].get("duration", 0)), ends.get("video", [None])[0], ends.get("audio", [])


def claim_of(tool, path):
    return tool.read(path, "--claim")["claim"]


def claimed_end(claim, duration):
    """Of the video."""
    plain = [min(claim["length"], duration)] if "length" in claim else []
    return max([0, claim.get("fragment", 0), *claim["keyframes"], *plain])


@pytest.mark.parametrize("name", [*SHORT, *LONGER, *SHOWN])
def test_no_whole_file_claims_more_than_it_has(tool, media, name):
    duration, video, sounds = found(media[name])
    claim = claim_of(tool, media[name])
    if video is None:
        assert claim == {"keyframes": []}
        return
    # A reader may count from the file's first picture.
    late = max(0, video[0])
    assert claimed_end(claim, duration) <= video[1] - late + MAY_MISS / 2
    if "soundTo" in claim:
        assert sounds
        assert all(min(claim["soundTo"], duration) <= end + MAY_MISS / 2 for _, end in sounds)


@pytest.mark.parametrize("name", [name for name in [*SHORT, *LONGER] if not name.startswith("fragmented-")])
def test_of_a_plain_file_all_is_claimed(tool, media, name):
    duration, video, sounds = found(media[name])
    claim = claim_of(tool, media[name])
    if video is None or "fragmented" in name:
        return
    assert claim["file"] == pytest.approx(duration, abs=0.3)
    assert claim["length"] == pytest.approx(video[1] - max(0, video[0]), abs=0.3)
    assert ("soundTo" in claim) == bool(sounds)
    if sounds:
        assert claim["soundTo"] == pytest.approx(min(end - max(0, begin) for begin, end in sounds), abs=0.3)


@pytest.mark.parametrize("name", [name for name in [*SHORT, *LONGER] if "fragmented" in name])
def test_of_fragments_the_sound_is_claimed_up_to_the_last(tool, media, name):
    _, video, sounds = found(media[name])
    claim = claim_of(tool, media[name])
    if video is None or not sounds:
        assert "soundTo" not in claim
        return
    assert sounds[0][1] - LONGEST_FRAGMENT < claim["soundTo"] <= sounds[0][1]


def test_a_fragment_whose_sound_is_cut_off_is_not_claimed(tool, media, tmp_path):
    broken_off(media["burst-fragmented"], tmp_path / "cut.mp4")
    claim = claim_of(tool, tmp_path / "cut.mp4")
    # The last picture of the last second, and the last sound of the one before.
    assert claim["fragment"] == pytest.approx(11 + 29 / 30, abs=0.01)
    assert claim["soundTo"] == pytest.approx(11, abs=0.05)


@pytest.mark.parametrize("name", BROKEN_OFF)
def test_a_file_that_is_broken_off_claims_more_than_it_has(tool, media, name):
    duration, video, sounds = found(media[name])
    claim = claim_of(tool, media[name])
    assert claimed_end(claim, duration) > video[1] + MAY_MISS
    assert claim["soundTo"] > sounds[0][1] + MAY_MISS
