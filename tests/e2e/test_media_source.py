"""What the program's own media source delivers of fragmented files, from its own queues and through a source reader:
all samples with the bytes, times, durations and flags that the files' boxes say, and that ffprobe reads."""
import subprocess
import sys

import places
import pytest
import recording

sys.path.insert(0, str(places.ROOT / "tests" / "support"))
sys.path.insert(0, str(places.ROOT / "tests" / "mp4files"))
import boxes  # noqa: E402
import make_media  # noqa: E402
import reference  # noqa: E402

DRIVER = places.BUILD / "tests" / "e2e" / "show-samples.exe"
PICTURES = DRIVER.with_name("show-pictures.exe")
NAMES = ["fragmented-b0", "fragmented-b2", "fragmented-b4", "fragmented-base-offset",
         "fragmented-tracks-apart", "fragmented-with-edit-list", "fragmented-video-late", "fragmented-cmaf",
         "fragmented-short", "fragmented-long", "fragmented-one-group", "fragmented-every-frame",
         "fragmented-long-groups",
         "fragmented-audio-first", "fragmented-video-only", "fragmented-every-frame-a-key", "fragmented-with-sidx",
         "fragmented-two-tracks-each"]
DECLINED = ["plain-b2", "fragmented-hevc", "fragmented-mpeg4", "fragmented-no-table", "fragmented-opus",
            "fragmented-audio-only", "fragmented-behind-samples", "fragmented-turned", "fragmented-wide-pixels",
            "fragmented-cut"]
TICKS = 10_000_000


@pytest.fixture(scope="session")
def files(media):
    folder = media / "mp4"
    make_media.make_mp4_files(folder)
    return folder


def shown(path, way, position=0):
    """Exit code and samples by stream: (time, duration, decode time, flags, size, CRC-32)."""
    done = subprocess.run([places.RUN, str(DRIVER), places.windows_path(path), way, str(position)],
                          capture_output=True, text=True, timeout=120, check=False)
    streams = {}
    for line in done.stdout.splitlines():
        stream, time, duration, decode, flags, size, crc = line.split()
        streams.setdefault(int(stream), []).append(
            (int(time), int(duration), int(decode), flags, int(size), int(crc)))
    return done.returncode, streams


def ticks(units, timescale):
    whole = abs(units) * TICKS // timescale  # cut towards zero
    return whole if units >= 0 else -whole


def from_start(file, track):
    """The samples that a start at 0 delivers of a track, and what is added to their times."""
    entries = sorted(file.random_access(track), key=lambda e: e.time)
    entry = ([e for e in entries if e.time <= 0][-1:] or entries[:1])[0]
    moof = next(m for m in file.moofs if m.start == entry.offset)
    first = file.fragment_samples(moof, track)[entry.sample - 1]
    every = [s for m in file.moofs for s in file.fragment_samples(m, track)]
    rebase, samples = entry.time - first.pts, every[every.index(first):]
    if track.handler == "soun":
        if entry.time == 0 and first.pts + file.edit_offset(track) < 0:
            rebase = file.edit_offset(track)  # the table has no times below 0
        samples = [s for s in samples if s.pts + s.duration + rebase > 0]
    return samples, rebase


def video_bytes(file, track, sample, first):
    """As a byte stream; the parameter sets are in front of the first keyframe only."""
    config = avc_config(file, track)
    whole = reference.annex_b(config, file.bytes(sample))
    return whole if first else whole[len(reference.annex_b(config, b"")):]


def avc_config(file, track):
    stsd = file.payload(track.stbl.one("stsd"))
    at = stsd.index(b"avcC")
    return stsd[at + 4:at - 4 + int.from_bytes(stsd[at - 4:at], "big")]


def expected(file, track):
    samples, rebase = from_start(file, track)
    is_video = track.handler == "vide"
    lines = []
    for i, s in enumerate(samples):
        data = video_bytes(file, track, s, i == 0) if is_video else file.bytes(s)
        flags = ("K" if s.key else "") + ("D" if i == 0 else "")
        lines.append((ticks(s.pts + rebase, track.timescale), ticks(s.duration, track.timescale),
                      ticks(s.dts + rebase, track.timescale), flags or "-", len(data), reference.crc(data)))
    return lines


def streams_of(file):
    """The tracks that are served, the picture first."""
    found = [file.first("vide"), file.first("soun")]
    return [track for track in found if track is not None]


@pytest.mark.parametrize("way", ["queues", "reader"])
@pytest.mark.parametrize("name", NAMES)
def test_all_samples_are_those_of_the_boxes(files, name, way):
    file = boxes.File(files / f"{name}.mp4")
    code, streams = shown(files / f"{name}.mp4", way)
    assert code == 0
    tracks = streams_of(file)
    assert sorted(streams) == list(range(len(tracks)))
    for stream, track in enumerate(tracks):
        found = streams[stream]
        wanted = expected(file, track)
        if way == "reader":  # which reads one stream after the other
            found = [found[0], *[(*line[:3], line[3].replace("D", "") or "-", *line[4:]) for line in found[1:]]]
        assert len(found) == len(wanted)
        assert found == wanted


@pytest.mark.parametrize("name", NAMES)
def test_the_samples_are_those_of_ffprobe(files, name):
    path = files / f"{name}.mp4"
    file = boxes.File(path)
    _, streams = shown(path, "queues")
    for stream, track in enumerate(streams_of(file)):
        packets = reference.of_ffprobe(path, track.id)
        left_out = len(packets) - len(streams[stream])
        samples, rebase = from_start(file, track)
        assert left_out == len([s for m in file.moofs for s in file.fragment_samples(m, track)]) - len(samples)
        shift = samples[0].pts + rebase - packets[left_out][0]
        for (time, _, decode, flags, size, crc), packet in zip(streams[stream], packets[left_out:], strict=True):
            assert time == ticks(packet[0] + shift, track.timescale)
            if name != "fragmented-cmaf":  # whose pictures may be shown before they are decoded: ffprobe moves that
                assert decode == ticks(packet[1] + shift, track.timescale)
            assert ("K" in flags) == packet[5]
            if track.handler == "soun":
                assert (size, crc) == (packet[4], packet[6])


def places_of(file, track):
    """Around the keyframes: in front of all, and before, on and behind the third and the last one."""
    samples, rebase = from_start(file, track)
    keys = [ticks(s.pts + rebase, track.timescale) for s in samples if s.key]
    return sorted({0, 25_000_000, *(max(0, key + by) for key in (keys[2 % len(keys)], keys[-1]) for by in (-1, 0, 1))})


@pytest.mark.parametrize("way", ["queues", "reader"])
@pytest.mark.parametrize("name", ["fragmented-b2", "fragmented-short", "fragmented-with-edit-list",
                                  "fragmented-long-groups"])
def test_a_start_begins_where_it_should(files, name, way):
    path = files / f"{name}.mp4"
    file = boxes.File(path)
    for position in places_of(file, file.first("vide")):
        code, streams = shown(path, way, position)
        assert code == 0
        for stream, track in enumerate(streams_of(file)):
            samples, rebase = from_start(file, track)
            begins = [ticks(s.pts + rebase, track.timescale) for s in samples]
            ends = [ticks(s.pts + s.duration + rebase, track.timescale) for s in samples]
            if track.handler == "vide":
                keys = [i for i, s in enumerate(samples) if s.key]
                first = ([i for i in keys if begins[i] <= position] or keys)[-1 if begins[keys[0]] <= position else 0]
            else:
                first = next((i for i, end in enumerate(ends) if end > position), len(samples))
            found = [line[0] for line in streams.get(stream, [])]
            assert found == begins[first:], f"stream {stream} from {position}"


@pytest.mark.usefixtures("own_screen")
@pytest.mark.parametrize("own_source", ["1", "0"])
def test_the_environment_chooses_who_reads(cut, media, tmp_path, monkeypatch, own_source):
    monkeypatch.setenv("VELKANTRIX_MP4SRC", own_source)
    monkeypatch.setenv("RIG_LOG", "1")
    said = "a source of the program's own"
    done = cut(media / "fragmented.mp4", tmp_path / "cut.mp4", "2-6")
    assert (said in done.stderr) == (own_source == "1")
    words = [places.RUN, str(PICTURES), places.windows_path(media / "fragmented.mp4"), "1", "1"]
    done = subprocess.run(words, cwd=tmp_path, input="\n" * 10, capture_output=True, text=True, timeout=120, check=True)
    assert (said in done.stderr) == (own_source == "1")


@pytest.mark.parametrize("name", DECLINED)
def test_other_files_are_left_to_the_system(files, name):
    for way in ("queues", "reader"):
        code, streams = shown(files / f"{name}.mp4", way)
        assert (code, streams) == (1, {})


def test_a_table_that_begins_late_leaves_the_file_to_the_system(files, tmp_path):
    data = bytearray((files / "fragmented-b2.mp4").read_bytes())
    at = data.rindex(b"mfra") + 4
    for _ in range(2):  # the first entry of each table now names what the second does
        at = data.index(b"tfra", at) + 4
        assert data[at] == 1
        widths = int.from_bytes(data[at + 8:at + 12], "big")
        row = 16 + sum((widths >> shift & 3) + 1 for shift in (4, 2, 0))
        data[at + 16:at + 16 + row] = data[at + 16 + row:at + 16 + 2 * row]
    late = tmp_path / "late.mp4"
    late.write_bytes(data)
    assert shown(late, "queues") == (1, {})


def test_a_damaged_copy_ends_with_a_failure(files, tmp_path):
    data = bytearray((files / "fragmented-b2.mp4").read_bytes())
    last = data.rindex(b"moof")
    data[last:last + 4] = b"free"
    broken = tmp_path / "broken.mp4"
    broken.write_bytes(data)
    whole = shown(files / "fragmented-b2.mp4", "queues")[1]
    for way in ("queues", "reader"):
        code, streams = shown(broken, way)
        assert code == 3
        assert 0 < len(streams[0]) < len(whole[0])


def test_an_export_keeps_its_sound_where_playing_has_none(cut, media, tmp_path, monkeypatch):
    monkeypatch.setenv("MP4SRC_NOAUDIO", "1")
    output = tmp_path / "cut.mp4"
    assert cut(media / "fragmented.mp4", output, "2-6").returncode == 0
    kinds = [stream.kind for stream in recording.read(output)]
    assert sorted(kinds) == ["audio", "video"]
