"""Where the program reads a file otherwise than ffprobe, or than the standard would have it: each way on purpose."""
import boxes
import mp4_files
import pytest
import reference

IDR = 5  # a NAL unit's type


# ---- times ------------------------------------------------------------------------------------------


@pytest.mark.parametrize("name, offset", [
    ("plain-b0", 0), ("plain-b2", -1024), ("plain-b4", -1024), ("plain-audio-late", -1024),
    ("plain-video-late", 23040 - 1024), ("plain-trimmed", -1024 - 23040), ("plain-no-edit-list", 0),
    ("plain-two-tracks-each", -1024)])
def test_edit_lists_are_left_out_of_the_times_and_told_beside_them(tool, files, raw, name, offset):
    track = raw(name).first("vide")
    assert raw(name).edit_offset(track) == offset
    answer = tool.read(files[name], "--samples")
    assert answer["editOffset"] == offset
    times = {s["offset"]: s["pts"] for s in answer["samples"]}
    packets = reference.of_ffprobe(files[name], track.id, edit_list=True)
    assert {pts - times[place] for pts, _, _, place, *_ in packets} == {offset}


def test_decode_times_are_the_tables_even_behind_composition_times(tool, files, raw):
    """Where composition offsets are negative ffprobe moves all decode times to the front."""
    path, track = files["plain-negative-composition"], raw("plain-negative-composition").first("vide")
    samples = reference.said(tool.read(path, "--samples")["samples"])
    assert any(dts > pts for pts, dts, *_ in samples)
    packets = reference.of_ffprobe(path, track.id)
    assert [(pts, dts + 512, *rest) for pts, dts, *rest in packets] == samples


def test_composition_times_of_fragments_are_the_tables_too(tool, files, raw):
    """There ffprobe moves the composition times to the back instead."""
    path, track = files["fragmented-cmaf"], raw("fragmented-cmaf").first("vide")
    samples = reference.said(tool.read(path, "--samples")["samples"])
    assert any(dts > pts for pts, dts, *_ in samples)
    packets = reference.of_ffprobe(path, track.id)
    assert [(pts - 512, *rest) for pts, *rest in packets] == samples


def test_the_first_keyframe_gets_its_time_from_the_table(tool, files, raw):
    """ffmpeg writes presented times into its tables, and others into the fragments."""
    name = "fragmented-with-edit-list"
    answer = tool.read(files[name], "--samples")
    stored = raw(name).fragment_samples(raw(name).moofs[0], raw(name).first("vide"))[0]
    assert (stored.pts, answer["video"]["randomAccess"][0]["time"]) == (1024, 0)
    assert (answer["samples"][0]["pts"], answer["samples"][0]["dts"]) == (0, -1024)


@pytest.mark.parametrize("name", ["fragmented-with-edit-list", "fragmented-cmaf"])
def test_a_table_of_sound_has_presented_times_but_for_the_first(tool, files, raw, name):
    """The encoder's delay, 1024 ticks, would make it less than 0, which a table can't say. So reading from the start
    gives the stored times, and behind a seek to any other entry all are 1024 lower."""
    file, track = raw(name), raw(name).first("soun")
    stored = [file.fragment_samples(moof, track)[0].pts for moof in file.moofs]
    answer = tool.read(files[name], "--samples")
    rebases = [e["time"] - pts for e, pts in zip(answer["audio"]["randomAccess"], stored, strict=True)]
    assert rebases == [0] + [-1024] * (len(stored) - 1)
    assert answer["audioSamples"][0]["pts"] == stored[0] == 0


def test_fragments_without_decode_times_follow_each_other(tool, files):
    with_times = tool.read(files["fragmented-b2"], "--samples")["samples"]
    assert tool.read(files["fragmented-without-decode-times"], "--samples")["samples"] == with_times


def test_a_keyframe_is_looked_up_by_whole_seconds(tool, files):
    """There are keyframes every half second."""
    found = {s: tool.read(files["plain-b0"], "--keyframe", s)["keyframe"]["timeSeconds"]
             for s in ("0.99", "1", "1.5", "1.99", "2", "2.5")}
    assert found == {"0.99": 0, "1": 1, "1.5": 1, "1.99": 1, "2": 2, "2.5": 2}


# ---- which samples ----------------------------------------------------------------------------------


@pytest.mark.parametrize("name", ["plain-every-frame-a-key", "plain-without-sync-samples", "plain-equal-sizes"])
def test_a_plain_file_without_sync_samples_has_no_index_but_samples(tool, files, raw, name):
    track = raw(name).first("vide")
    assert track.stbl.one("stss") is None
    answer = tool.read(files[name], "--samples", "--keyframe", "0")
    assert not answer["video"]["valid"]
    assert answer["video"]["timescale"] == track.timescale
    assert answer["video"]["randomAccess"] == []
    assert all(s["keyframe"] for s in answer["samples"])
    assert not answer["keyframe"]["ok"]
    packets = reference.of_ffprobe(files[name], track.id)
    samples = reference.said(answer["samples"])
    assert [s[:5] + s[6:] for s in samples] == [p[:5] + p[6:] for p in packets]


def test_a_fragmented_file_without_a_table_can_be_described_but_not_read(tool, files):
    path = files["fragmented-no-table"]
    answer = tool.read(path)
    assert not answer["video"]["valid"] and not answer["audio"]["valid"]
    assert (answer["video"]["width"], answer["video"]["height"]) == (128, 72)
    result = tool.run(path, "--samples")
    assert (result.returncode, result.stderr) == (1, "velkantrix-mp4: The video track has no table of its fragments.\n")


def test_samples_in_front_of_the_first_fragment_are_left_out(tool, files, raw):
    """A file whose moov has samples of its own, and fragments behind them: only those have a table."""
    file, path = raw("fragmented-behind-samples"), files["fragmented-behind-samples"]
    for handler, key in (("vide", "samples"), ("soun", "audioSamples")):
        track = file.first(handler)
        assert track.samples
        samples = reference.said(tool.read(path, "--samples")[key])
        packets = reference.of_ffprobe(path, track.id)[len(track.samples):]
        assert [s[:2] + s[3:] for s in samples] == [p[:2] + p[3:] for p in packets]


def test_a_run_without_a_data_offset_begins_at_the_base(tool, files, raw):
    """As for ffprobe. By the standard the second run would follow the first."""
    path, source = files["fragmented-runs-without-offset"], raw("fragmented-video-only")
    track, split = source.first("vide"), mp4_files.FIRST_RUN
    data = path.read_bytes()
    payloads = [b.payload for b in boxes.parse(data) if b.kind == "mdat"]
    expected = []
    for moof, payload in zip(source.moofs, payloads, strict=True):
        stored = source.fragment_samples(moof, track)
        for run in (stored[:split], stored[split:]):
            at = payload
            for s in run:
                expected.append((s.pts, s.dts, s.duration, at, s.size, s.key, reference.crc(data[at:at + s.size])))
                at += s.size
    samples = reference.said(tool.read(path, "--samples")["samples"])
    assert samples == expected
    packets = reference.of_ffprobe(path, track.id)
    assert [s[:2] + s[3:] for s in samples] == [p[:2] + p[3:] for p in packets]


def test_a_part_of_a_fragment_without_a_base_begins_at_the_fragment(tool, files, raw):
    """By the standard the second track's part would follow the data of the first."""
    path, file = files["fragmented-no-base-offset"], raw("fragmented-no-base-offset")
    audio = file.first("soun")
    expected = []
    for moof in file.moofs:
        pictures = file.fragment_samples(moof, file.first("vide"))
        shift = pictures[-1].offset + pictures[-1].size - moof.start
        for s in file.fragment_samples(moof, audio):
            s.offset -= shift
            expected.append(s)
    assert reference.said(tool.read(path, "--samples")["audioSamples"]) == reference.of_boxes(file, expected)


def test_entries_of_a_table_count_as_keyframes_whatever_their_samples_say(tool, files, raw):
    """ffmpeg lists every fragment, also those in the middle of a group of pictures."""
    file = raw("fragmented-short")
    track = file.first("vide")
    starts = [file.fragment_samples(m, track)[0] for m in file.moofs if file.fragment_samples(m, track)]
    assert any(not s.key for s in starts)
    assert len(tool.read(files["fragmented-short"])["video"]["randomAccess"]) == len(starts)


@pytest.mark.parametrize("seconds", ["0", "1", "2", "9"])
@pytest.mark.parametrize("name", ["fragmented-short", "fragmented-one-group"])
def test_the_keyframe_fetched_is_one_whatever_the_table_names(tool, files, raw, name, seconds):
    file, track = raw(name), raw(name).first("vide")
    entry, sample = reference.keyframe_for(file, track, float(seconds))
    assert IDR in reference.unit_types(file.bytes(sample))
    answer = tool.read(files[name], "--keyframe", seconds)
    expected = reference.annex_b(bytes.fromhex(answer["video"]["avcConfig"]), file.bytes(sample))
    assert answer["keyframe"] == {"ok": True, "timeSeconds": entry["time"] / track.timescale, "size": len(expected),
                                  "crc32": reference.crc(expected)}


def test_a_recording_of_one_group_of_pictures_has_one_keyframe(tool, files, raw):
    name = "fragmented-one-group"
    assert len(raw(name).random_access(raw(name).first("vide"))) > 3
    found = [tool.read(files[name], "--keyframe", s)["keyframe"] for s in ("0", "1", "2", "9")]
    assert found[0]["ok"] and found[1:] == found[:1] * 3


def test_a_keyframe_is_looked_for_in_the_nearest_entries_only(tool, files, raw):
    """64 of them: where all of those are no keyframes, the one that the table names is handed out."""
    name = "fragmented-long-groups"
    file, track = raw(name), raw(name).first("vide")
    last = max(file.random_access(track), key=lambda e: e.time)
    answer = tool.read(files[name], "--keyframe", "1000000")["keyframe"]
    assert answer["timeSeconds"] == last.time / track.timescale
    assert tool.read(files[name], "--keyframe", "1")["keyframe"]["timeSeconds"] < 0.1  # entry 60: near enough


def test_a_table_that_names_another_tracks_part_of_a_fragment_means_the_first_of_its_own(tool, files, raw):
    """ffmpeg writes part 1 into every entry, and the audio's is the first here."""
    path = files["fragmented-audio-first"]
    file, video = raw("fragmented-audio-first"), raw("fragmented-audio-first").first("vide")
    assert {e.traf for e in file.random_access(video)} == {1}
    first = file.moofs[0].all("traf")[0].one("tfhd").payload
    assert boxes.number(file.data, first + 4) != video.id
    answer = tool.read(path, "--samples", "--keyframe", "1")
    assert len(answer["samples"]) == 90
    keyframe = next(s for s in answer["samples"] if s["pts"] == answer["keyframe"]["timeSeconds"] * video.timescale)
    assert keyframe["keyframe"] and answer["keyframe"]["ok"]
    # Start codes are as long as lengths; the parameter sets come on top.
    assert answer["keyframe"]["size"] > keyframe["size"]


# ---- descriptions -----------------------------------------------------------------------------------


def test_of_several_sample_entries_the_first_h264_one_counts(tool, files):
    video = tool.read(files["plain-two-entries"])["video"]
    assert (video["width"], video["height"]) == (320, 200)
    assert video["avcConfig"] == tool.read(files["plain-b2"])["video"]["avcConfig"]


def test_sample_entries_of_other_codecs_are_passed_over(tool, files):
    video = tool.read(files["plain-foreign-entry-first"])["video"]
    assert (video["width"], video["height"]) == (128, 72)
    assert video["avcConfig"] == tool.read(files["plain-b2"])["video"]["avcConfig"]


@pytest.mark.parametrize("name", ["plain-hevc", "plain-mpeg4", "fragmented-hevc", "fragmented-mpeg4"])
def test_other_codecs_have_an_index_but_no_keyframe_to_decode(tool, files, name):
    answer = tool.read(files[name], "--keyframe", "0")
    assert answer["video"]["valid"]
    assert answer["keyframe"] == {"ok": False, "timeSeconds": 0, "size": 0, "crc32": 0}


@pytest.mark.parametrize("name", ["plain-b2", "plain-audio-only", "plain-audio-first", "fragmented-opus",
                                  "fragmented-video-only", "fragmented-no-table"])
def test_audio_is_described_only_where_it_can_be_read(tool, files, name):
    """AAC in a fragmented file with a table."""
    assert tool.read(files[name])["audio"] == {
        "valid": False, "trackId": 0, "timescale": 0, "sampleRate": 0, "channels": 0, "audioConfig": "",
        "randomAccess": []}


@pytest.mark.parametrize("name", ["plain-audio-only", "fragmented-audio-only"])
def test_a_file_without_video_has_no_video_samples(tool, files, name):
    answer = tool.read(files[name], "--samples", "--keyframe", "0")
    assert answer["video"] == {"valid": False, "fragmented": name != "plain-audio-only", "timescale": 0, "trackId": 0,
                               "width": 0, "height": 0, "avcConfig": "", "randomAccess": []}
    assert answer["samples"] == []
    assert not answer["keyframe"]["ok"]
