"""What velkantrix-mp4 must say of a file: worked out from its boxes, and as ffprobe reads it. Samples are tuples of
(pts, dts, duration, offset, size, keyframe, CRC-32)."""
import functools
import json
import struct
import subprocess
import zlib


def crc(data):
    return zlib.crc32(data)


def said(samples):
    """Of the program's JSON."""
    return [tuple(s[k] for k in ("pts", "dts", "duration", "offset", "size", "keyframe", "crc32")) for s in samples]


def of_boxes(file, samples, rebase=0):
    return [(s.pts + rebase, s.dts + rebase, s.duration, s.offset, s.size, s.key, crc(file.bytes(s)))
            for s in samples]


@functools.cache
def of_ffprobe(path, track_id, *options, edit_list=False):
    """A track's packets; without the edit list the times are those of the tables."""
    command = ["ffprobe", "-v", "error", "-ignore_editlist", "0" if edit_list else "1", *options, "-show_packets",
               "-select_streams", f"i:{track_id}", "-show_data_hash", "CRC32", "-of", "json", str(path)]
    found = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)["packets"]
    return [(int(p["pts"]), int(p["dts"]), int(p.get("duration", 0)), int(p["pos"]), int(p["size"]), "K" in p["flags"],
             int(p["data_hash"].removeprefix("CRC32:"), 16)) for p in found]


@functools.cache
def streams(path):
    """ffprobe's streams by track_ID."""
    command = ["ffprobe", "-v", "error", "-show_streams", "-show_data_hash", "CRC32", "-of", "json", str(path)]
    found = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)["streams"]
    return {int(s["id"], 16): s for s in found}


def moved(samples, by):
    return [(pts + by, dts + by, *rest) for pts, dts, *rest in samples]


def keyframe_entries(file, track):
    """The index's entries, as the program must say them, by time."""
    if file.moofs:
        entries = [{"time": e.time, "offset": e.offset, "size": 0, "trafNumber": e.traf, "trunNumber": e.trun,
                    "sampleNumber": e.sample} for e in file.random_access(track)]
    elif track.stbl.one("stss") is None:
        entries = []
    else:
        entries = [{"time": s.dts, "offset": s.offset, "size": s.size, "trafNumber": 1, "trunNumber": 1,
                    "sampleNumber": 1} for s in track.samples if s.key]
    return sorted(entries, key=lambda e: e["time"])


def entry_for(entries, seconds, timescale):
    """The last one at or before a time, in whole seconds; the first one where there is none."""
    before = [e for e in entries if e["time"] <= int(seconds) * timescale]
    return before[-1] if before else entries[0]


def keyframe_for(file, track, seconds):
    """The entry and the sample of the keyframe that is fetched: the one that the table names, or the nearest in
    front of it where that isn't sync."""
    entries = keyframe_entries(file, track)
    named = entry_for(entries, seconds, track.timescale)
    found = [(e, sample_of(file, track, e)) for e in entries[:entries.index(named) + 1]]
    return next(((e, s) for e, s in reversed(found) if s.key), found[-1])


def sample_of(file, track, entry):
    if not file.moofs:
        return next(s for s in track.samples if s.offset == entry["offset"])
    moof = next(m for m in file.moofs if m.start == entry["offset"])
    return file.fragment_samples(moof, track)[entry["sampleNumber"] - 1]


def reading(file, track):
    """All samples, whatever a table says of them, and what is added to their times: the first one's is its table's
    first."""
    if not file.moofs:
        return track.samples, 0
    samples = [s for moof in file.moofs for s in file.fragment_samples(moof, track)]
    return samples, file.random_access(track)[0].time - samples[0].pts


def unit_types(sample):
    """Of a sample's NAL units, behind lengths of 4 bytes."""
    types, at = [], 0
    while at < len(sample):
        types.append(sample[at + 4] & 31)
        at += 4 + int.from_bytes(sample[at:at + 4], "big")
    return types


def annex_b(avc_config, sample):
    """A keyframe as a decoder takes it, the parameter sets first. The configuration is an avcC's payload."""
    units, at = [], 6
    for count in (avc_config[5] & 31, None):
        if count is None:
            count, at = avc_config[at], at + 1
        for _ in range(count):
            length = struct.unpack_from(">H", avc_config, at)[0]
            units.append(avc_config[at + 2:at + 2 + length])
            at += 2 + length
    width, at = (avc_config[4] & 3) + 1, 0
    while at + width <= len(sample):
        length = int.from_bytes(sample[at:at + width], "big")
        units.append(sample[at + width:at + width + length])
        at += width + length
    return b"".join(b"\0\0\0\1" + unit for unit in units)
