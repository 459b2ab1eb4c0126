"""Every keyframe and every sample is where, when and what the boxes and ffprobe say. What is different on purpose is
named in test_differences.py; such files are left out here."""
import mp4_files
import pytest
import reference

NO_VIDEO = {"plain-audio-only", "fragmented-audio-only", "fragmented-audio-every-frame"}
NO_TABLE = {"fragmented-no-table"}
# Without decode times or data offsets: boxes.py reads only what can be understood in one way.
AMBIGUOUS = {"fragmented-without-decode-times", "fragmented-runs-without-offset"}
# ffprobe says something else; test_differences.py says what.
OTHER_SAMPLES = {"plain-negative-composition", "plain-without-sync-samples", "fragmented-cmaf",
                 "fragmented-behind-samples"}
OTHER_AUDIO_SAMPLES = {"fragmented-no-base-offset", "fragmented-behind-samples"}
OTHER_DESCRIPTION = {"plain-two-entries", "plain-foreign-entry-first"}

VIDEOS = [name for name in mp4_files.SOUND if name not in NO_VIDEO]
READABLE = [name for name in VIDEOS if name not in NO_TABLE]
FRAGMENTED_SOUND = [name for name in mp4_files.SOUND
                    if name.startswith("fragmented-") and name not in
                    {"fragmented-video-only", "fragmented-every-frame", "fragmented-large", "fragmented-opus",
                     "fragmented-long-groups",
                     "fragmented-runs-without-offset"} | NO_TABLE]


def answer_for(tool, files, name):
    """One run of the program serves all tests of a file."""
    return tool.read(files[name], *([] if name in NO_TABLE else ["--samples"]))


# ---- the index ------------------------------------------------------------------------------------


@pytest.mark.parametrize("name", mp4_files.SOUND)
def test_the_probe_counts_the_fragments(tool, files, raw, name):
    moofs = len(raw(name).moofs)
    assert answer_for(tool, files, name)["probe"] == {
        "startsWithFtyp": True, "hasMoof": moofs > 0, "moofCount": moofs, "reachedEnd": True,
        "largeFragmented": name == "fragmented-large"}


@pytest.mark.parametrize("name", VIDEOS)
def test_the_video_track_is_described(tool, files, raw, name):
    track, video = raw(name).first("vide"), answer_for(tool, files, name)["video"]
    stream = reference.streams(files[name])[track.id]
    assert video["trackId"] == track.id
    assert video["timescale"] == track.timescale == int(stream["time_base"].removeprefix("1/"))
    assert video["fragmented"] == bool(raw(name).moofs)


@pytest.mark.parametrize("name", [name for name in VIDEOS if name not in OTHER_DESCRIPTION])
def test_size_and_configuration_are_those_of_h264(tool, files, name):
    video = answer_for(tool, files, name)["video"]
    stream = reference.streams(files[name])[video["trackId"]]
    config = bytes.fromhex(video["avcConfig"])
    if stream.get("codec_name") != "h264":
        assert (video["width"], video["height"], config) == (0, 0, b"")
        return
    assert (video["width"], video["height"]) == (stream["width"], stream["height"])
    assert f"CRC32:{reference.crc(config):08x}" == stream["extradata_hash"]


@pytest.mark.parametrize("name", VIDEOS)
def test_the_keyframes_are_those_of_the_boxes(tool, files, raw, name):
    video = answer_for(tool, files, name)["video"]
    expected = reference.keyframe_entries(raw(name), raw(name).first("vide"))
    assert video["randomAccess"] == expected
    assert video["valid"] == bool(expected)


@pytest.mark.parametrize("name", FRAGMENTED_SOUND)
def test_the_audio_track_of_a_fragmented_file_is_described(tool, files, raw, name):
    track, audio = raw(name).first("soun"), answer_for(tool, files, name)["audio"]
    stream = reference.streams(files[name])[track.id]
    assert audio["valid"]
    assert (audio["trackId"], audio["timescale"]) == (track.id, track.timescale)
    assert (audio["sampleRate"], audio["channels"]) == (int(stream["sample_rate"]), stream["channels"])
    assert f"CRC32:{reference.crc(bytes.fromhex(audio['audioConfig'])):08x}" == stream["extradata_hash"]
    assert audio["randomAccess"] == reference.keyframe_entries(raw(name), track)


# ---- the samples ------------------------------------------------------------------------------------


@pytest.mark.parametrize("name", [name for name in READABLE if name not in AMBIGUOUS])
def test_the_video_samples_are_those_of_the_boxes(tool, files, raw, name):
    file = raw(name)
    samples = reference.said(answer_for(tool, files, name)["samples"])
    assert samples == reference.of_boxes(file, *reference.reading(file, file.first("vide")))
    assert len(samples) >= 60


@pytest.mark.parametrize("name", [name for name in READABLE if name not in AMBIGUOUS | OTHER_SAMPLES])
def test_the_video_samples_are_those_of_ffprobe(tool, files, raw, name):
    samples = reference.said(answer_for(tool, files, name)["samples"])
    compare_with_ffprobe(files[name], raw(name), raw(name).first("vide"), samples)


@pytest.mark.parametrize("name", [name for name in FRAGMENTED_SOUND
                                  if name not in AMBIGUOUS | {"fragmented-no-base-offset"}])
def test_the_audio_samples_are_those_of_the_boxes(tool, files, raw, name):
    file = raw(name)
    samples = reference.said(answer_for(tool, files, name)["audioSamples"])
    assert samples == reference.of_boxes(file, *reference.reading(file, file.first("soun")))
    assert len(samples) >= 60


@pytest.mark.parametrize("name", [name for name in FRAGMENTED_SOUND
                                  if name not in AMBIGUOUS | OTHER_AUDIO_SAMPLES])
def test_the_audio_samples_are_those_of_ffprobe(tool, files, raw, name):
    samples = reference.said(answer_for(tool, files, name)["audioSamples"])
    compare_with_ffprobe(files[name], raw(name), raw(name).first("soun"), samples)


def compare_with_ffprobe(path, file, track, samples):
    """ffprobe's durations are often the codec's own instead of the file's: here they are the steps between its
    decode times. Nothing follows the last one; the boxes say its duration."""
    packets = reference.moved(reference.of_ffprobe(path, track.id), reference.reading(file, track)[1])
    steps = [after[1] - before[1] for before, after in zip(packets, packets[1:])]
    assert [s[2] for s in samples[:-1]] == steps
    assert [s[:2] + s[3:] for s in samples] == [p[:2] + p[3:] for p in packets]


# ---- single keyframes ---------------------------------------------------------------------------------

H264 = [name for name in READABLE if name not in AMBIGUOUS and not name.endswith(("-hevc", "-mpeg4"))
        and name not in {"plain-every-frame-a-key", "plain-equal-sizes", "plain-without-sync-samples",
                         "fragmented-audio-first", "fragmented-long-groups"}]


@pytest.mark.parametrize("seconds", ["0.999", "1.5", "1000000"])
@pytest.mark.parametrize("name", H264)
def test_a_keyframe_is_fetched_with_its_parameter_sets(tool, files, raw, name, seconds):
    file, track = raw(name), raw(name).first("vide")
    entry, sample = reference.keyframe_for(file, track, float(seconds))
    answer = tool.read(files[name], "--keyframe", seconds)
    expected = reference.annex_b(bytes.fromhex(answer["video"]["avcConfig"]), file.bytes(sample))
    assert answer["keyframe"] == {"ok": True, "timeSeconds": entry["time"] / track.timescale, "size": len(expected),
                                  "crc32": reference.crc(expected)}
