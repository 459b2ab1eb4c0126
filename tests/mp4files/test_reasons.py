"""What velkantrix-mp4 says of a file of which one thing is wrong and all else can be read: that is printed."""
import json

import boxes
import mp4_files
import pytest

FRAGMENTED = "fragmented-b2"
MOST_BOXES = 2100


def reason_of(tool, path, data):
    """What standard error and the output say of a file of these bytes."""
    path.write_bytes(data)
    result = tool.run(path, "--samples")
    assert result.returncode == 1
    line = result.stderr
    assert line.startswith("velkantrix-mp4: ") and line.endswith("\n")
    return line.removeprefix("velkantrix-mp4: ").removesuffix("\n"), json.loads(result.stdout)


def table_entry(file, track, number):
    """Where the time of one of its table's entries stands; the fragment's place is behind it, in 8 bytes each."""
    tfra = next(t for t in file.root.all("mfra", "tfra") if boxes.number(file.data, t.payload + 4) == track.id)
    assert file.data[tfra.payload] == 1 and boxes.number(file.data, tfra.payload + 8) == 0
    return tfra.payload + 16 + 19 * number


@pytest.mark.parametrize("handler, track, key, other", [
    ("vide", "video", "samples", "audioSamples"), ("soun", "audio", "audioSamples", "samples")])
class TestOneTrackOfAFragmentedFile:
    """The other one is whole, and so is what can be read of this one."""

    def test_its_first_fragment_is_not_where_the_table_says(self, tool, files, raw, tmp_path, handler, track, key,
                                                            other):
        file, whole = raw(FRAGMENTED), tool.read(files[FRAGMENTED], "--samples")
        at = table_entry(file, file.first(handler), 0) + 8
        reason, answer = reason_of(tool, tmp_path / "a.mp4", mp4_files.overwritten(file, {at: bytes(8)}))
        assert reason == f"The {track} track's first fragment can't be read."
        assert answer[key] == []
        assert answer[other] == whole[other]

    def test_its_last_run_states_more_than_it_holds(self, tool, files, raw, tmp_path, handler, track, key, other):
        file, whole = raw(FRAGMENTED), tool.read(files[FRAGMENTED], "--samples")
        run = [t for m in file.moofs for t in m.all("traf")
               if boxes.number(file.data, t.one("tfhd").payload + 4) == file.first(handler).id][-1].one("trun")
        more = {run.payload + 4: boxes.words(boxes.number(file.data, run.payload + 4) + 1)}
        reason, answer = reason_of(tool, tmp_path / "a.mp4", mp4_files.overwritten(file, more))
        assert reason == f"The {track} samples break off behind the first {len(whole[key])}."
        assert (answer[key], answer[other]) == (whole[key], whole[other])

    def test_its_table_begins_behind_its_first_fragment(self, tool, files, raw, tmp_path, handler, track, key, other):
        """A table of video is read by its times, one of sound as it stands."""
        file, whole = raw(FRAGMENTED), tool.read(files[FRAGMENTED], "--samples")
        first, second = (table_entry(file, file.first(handler), n) for n in (0, 1))
        one, two = file.data[first:first + 19], file.data[second:second + 19]
        if handler == "vide":
            one = two[:8] + one[8:]
            two = bytes(8) + two[8:]
        else:
            one, two = two, one
        reason, answer = reason_of(tool, tmp_path / "a.mp4", mp4_files.overwritten(file, {first: one, second: two}))
        assert reason == f"The {track} track's table doesn't begin with its first fragment."
        left_out = len(file.fragment_samples(file.moofs[0], file.first(handler)))
        assert [s["offset"] for s in answer[key]] == [s["offset"] for s in whole[key][left_out:]]
        assert left_out and answer[other] == whole[other]


@pytest.mark.parametrize("table", ["stts", "stsz", "stsc", "stco"])
def test_a_plain_track_lacks_a_table(tool, raw, tmp_path, table):
    file = raw("plain-b2")
    data = mp4_files.renamed(file, file.first("vide").stbl.all(table), "free")
    reason, answer = reason_of(tool, tmp_path / "a.mp4", data)
    assert reason == "The video track lacks some of its tables."
    assert (answer["samples"], answer["audioSamples"], "editOffset" in answer) == ([], [], False)


@pytest.mark.parametrize("behind", [b"", b"\0\0\0\x04free", b"\0\0\0"])
@pytest.mark.parametrize("more", [0, 1])
def test_boxes_behind_those_that_are_looked_at_are_no_fault(tool, files, raw, tmp_path, more, behind):
    """Not even broken ones; among the others they would be."""
    file, whole = raw("plain-b2"), tool.read(files["plain-b2"], "--samples")
    path = tmp_path / "a.mp4"
    frees = MOST_BOXES - len(file.root.children) + more
    path.write_bytes(file.data[:] + boxes.box("free") * frees + behind)
    reached_end = not more and not behind
    assert tool.read(path, "--samples") == {**whole, "probe": {**whole["probe"], "reachedEnd": reached_end}}


def test_the_last_box_that_is_looked_at_may_be_broken(tool, files, raw, tmp_path):
    """And then it is said."""
    file = raw("plain-b2")
    data = file.data[:] + boxes.box("free") * (MOST_BOXES - 1 - len(file.root.children))
    reason, answer = reason_of(tool, tmp_path / "a.mp4", data + b"\0\0\0\x04free")
    assert reason == f"The box at byte {len(data)} is smaller than its header."
    assert answer["samples"] == tool.read(files["plain-b2"], "--samples")["samples"]
