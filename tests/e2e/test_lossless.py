"""Lossless cuts of real recordings, judged by ffprobe and ffmpeg: every packet is the source's own, spans
begin at the right keyframe, nothing overlaps or is missing at the joins, and the result plays."""
from collections import Counter

import make_media
import pytest
import recording

# Times in the files are in units of their tracks, 1/12800 s and finer.
CLOSE = 0.0005

SPANS = {
    "one": [(1.5, 3.2)],
    "three": [(0.5, 1.7), (4.2, 5.0), (8.1, 9.9)],
    "adjacent": [(2.0, 4.0), (4.0, 6.0)],
    "overlapping": [(2.2, 4.5), (4.5, 6.6)],
    "to-the-end": [(9.5, 12.0)],
    "whole": [(0.0, 12.0)],
}

RECORDINGS = ["closed", "open", "no-b-frames", "pyramid", "variable-rate", "audio-late", "audio-short",
              "video-only", "two-audio", "mono", "one-keyframe", "tables-first"]

# Those that the program's own media source serves, unless it is switched off.
FRAGMENTED = ["fragmented", "fragmented-halves"]
CASES = [(name, "1") for name in [*RECORDINGS, *FRAGMENTED]] + [(name, "0") for name in FRAGMENTED]


def parts(spans):
    return [f"{start}-{end}" for start, end in spans]


def check_packets(found, cuts):
    wanted = [p.digest for cut in cuts for p in cut.video]
    assert [p.digest for p in found.packets] == wanted
    times = [cut.on_output(p.pts) for cut in cuts for p in cut.video]
    for packet, time in zip(found.packets, times):
        assert packet.pts == pytest.approx(time, abs=CLOSE)


def check_joins(found, cuts):
    """Sorted by time, the pictures of a span end where those of the next begin, to half a picture."""
    at = 0
    for before, after in zip(cuts, cuts[1:]):
        ours = found.packets[at:at + len(before.video)]
        at += len(before.video)
        assert found.packets[at].key
        begin = found.packets[at].pts
        # How long the last picture of the span stands: in the source, until the next one shown.
        last = max(before.video, key=lambda p: p.pts)
        hold = before.end - last.pts
        gap = begin - (max(p.pts for p in ours) + hold)
        assert abs(gap) <= hold / 2 + CLOSE


def check_decode_times(found):
    for before, after in zip(found.packets, found.packets[1:]):
        assert before.dts < after.dts


def check_audio(found, cuts, had_audio):
    if not had_audio:
        assert found is None
        return
    wanted = [p for cut in cuts for p in cut.audio]
    if not wanted:
        assert found is None or not found.packets
        return
    assert [p.digest for p in found.packets] == [p.digest for p in wanted]
    times = [cut.on_output(p.pts) for cut in cuts for p in cut.audio]
    for packet, time in zip(found.packets, times):
        assert packet.pts == pytest.approx(time, abs=CLOSE)


@pytest.mark.parametrize("spans", SPANS.values(), ids=SPANS)
@pytest.mark.parametrize("name, own_source", CASES)
def test_every_packet_is_the_sources_own(cut, media, tmp_path, monkeypatch, name, own_source, spans):
    monkeypatch.setenv("VELKANTRIX_MP4SRC", own_source)
    source, output = media / f"{name}.mp4", tmp_path / "cut.mp4"
    before = make_media.digest(source)
    result = cut(source, output, *parts(spans))
    assert result.returncode == 0, result.stderr
    assert result.stderr == ""

    streams = recording.read(source)
    found = recording.read(output)
    cuts = recording.expected_cut(streams, spans)
    video = recording.first(found, "video")
    check_packets(video, cuts)
    check_joins(video, cuts)
    check_decode_times(video)
    check_audio(recording.first(found, "audio"), cuts, recording.first(streams, "audio") is not None)
    wanted = recording.expected_pictures(source, recording.first(streams, "video").packets, cuts)
    if name == "open":
        # Its keyframes don't reset the decoder's count of pictures. Where material is missing in between,
        # ffmpeg's decoder drops up to two good pictures at the join; none is damaged.
        missing = Counter(wanted) - Counter(recording.pictures(output))
        assert missing.total() <= 2 * (len(cuts) - 1)
        assert not Counter(recording.pictures(output)) - Counter(wanted)
    else:
        assert recording.pictures(output) == wanted
        assert recording.decoding_complaints(output) == ""
    assert make_media.digest(source) == before
    assert [p.name for p in tmp_path.iterdir()] == ["cut.mp4"]
