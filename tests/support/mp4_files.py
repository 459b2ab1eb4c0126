"""The MP4 files on which readings are compared: those that ffmpeg makes (make_media.py), and what can only be had
by patching them. Patched files are made anew each time; the huge ones are holes for the most part."""
import functools
import os
import struct

import boxes
import make_media
from boxes import box, full_box, rebuilt, words

GIB = 1 << 30


def make_all(folder):
    make_media.make_mp4_files(folder)
    for name, patch in PATCHED.items():
        patch(folder, folder / f"{name}.mp4")
    return {name: folder / f"{name}.mp4" for name in NAMES}


def source(folder, name):
    return boxes.File(folder / f"{name}.mp4")


def overwritten(file, changes):
    """The file's bytes with some of them changed, {place: bytes}."""
    data = bytearray(file.data[:])
    for at, new in changes.items():
        data[at:at + len(new)] = new
    return bytes(data)


def renamed(file, found, kind):
    return overwritten(file, {b.start + 4: kind.encode() for b in found})


# ---- plain files --------------------------------------------------------------------------------


def moov_with_wide_offsets(file, shift=0):
    def change(data, b):
        if b.kind != "stco":
            return None
        count = boxes.number(data, b.payload + 4)
        offsets = struct.unpack_from(f">{count}I", data, b.payload + 8)
        return full_box("co64", 0, 0, words(count), struct.pack(f">{count}Q", *(o + shift for o in offsets)))

    assert file.moov.end == len(file.data), "the tables must not move the data"
    return rebuilt(file.data, file.moov, change)


def wide_offsets(folder, path):
    file = source(folder, "plain-b2")
    path.write_bytes(file.data[:file.moov.start] + moov_with_wide_offsets(file))


def behind_five_gib(folder, path):
    file = source(folder, "plain-b2")
    at, hole = file.root.one("ftyp").end, 5 * GIB
    rest = file.data[at:file.moov.start] + moov_with_wide_offsets(file, 16 + hole)
    write_with_hole(path, file.data[:at], hole, rest)


def write_with_hole(path, head, hole, rest):
    with open(path, "wb") as out:
        out.write(head + boxes.large_box("free", hole))
        out.seek(hole, os.SEEK_CUR)
        out.write(rest)


def without_sync_samples(folder, path):
    file = source(folder, "plain-b2")
    path.write_bytes(renamed(file, file.first("vide").stbl.all("stss"), "free"))


def open_ended(folder, path):
    file = source(folder, "plain-tables-first")
    last = file.root.children[-1]
    assert last.kind == "mdat"
    path.write_bytes(overwritten(file, {last.start: words(0)}))


def trimmed(folder, path):
    """Shown from 1.5 s on."""
    file = source(folder, "plain-b2")
    elst = next(t for t in file.moov.all("trak") if t.all("mdia", "minf", "vmhd")).one("edts", "elst")
    duration, start = file.first("vide").edits[0]
    path.write_bytes(overwritten(file, {elst.payload + 8: words(duration - 1500, start + 23040)}))


def with_entries(folder, path, entries):
    """The video track's stsd with other sample entries: entries(avc1's bytes) says which."""
    file = source(folder, "plain-b2")

    def change(data, b):
        if b.kind != "stsd" or data[b.payload + 12:b.payload + 16] != b"avc1":
            return None
        both = entries(data[b.payload + 8:b.end])
        return full_box("stsd", 0, 0, words(len(both)), *both)

    path.write_bytes(file.data[:file.moov.start] + rebuilt(file.data, file.moov, change))


def two_entries(folder, path):
    with_entries(folder, path, lambda avc1: [avc1[:32] + struct.pack(">HH", 320, 200) + avc1[36:], avc1])


def foreign_entry_first(folder, path):
    with_entries(folder, path, lambda avc1: [avc1[:4] + b"zzzz" + avc1[8:], avc1])


# ---- fragmented files -----------------------------------------------------------------------------


def mfra(track_id, entries, wide=True):
    """With one table of (time, offset of the moof). A narrow table has short times, and numbers of other widths."""
    rows = b"".join(struct.pack(">QQBBB" if wide else ">IIHBI", time, offset, 1, 1, 1) for time, offset in entries)
    tfra = full_box("tfra", 1 if wide else 0, 0, words(track_id, 0 if wide else 0b010011, len(entries)), rows)
    return box("mfra", tfra, full_box("mfro", 0, 0, words(8 + len(tfra) + 16)))


def large_fragmented(folder, path):
    file = source(folder, "fragmented-every-frame")
    at, hole, track = file.moofs[0].start, 6 * GIB, file.first("vide")
    entries = [(e.time, e.offset + 16 + hole) for e in file.random_access(track)]
    rest = file.data[at:file.root.one("mfra").start] + mfra(track.id, entries)
    write_with_hole(path, file.data[:at], hole, rest)


def without_decode_times(folder, path):
    file = source(folder, "fragmented-b2")
    path.write_bytes(renamed(file, [b for m in file.moofs for b in m.all("traf", "tfdt")], "free"))


FIRST_RUN = 8  # samples of the first of two runs
NOT_SYNC = 0x1010000


def runs_without_offset(folder, path):
    """Two runs in each fragment, neither with a data offset: the base offset is said, and points at the data."""
    file = source(folder, "fragmented-video-only")
    track = file.first("vide")
    out, entries = file.data[:file.moofs[0].start], []
    for i, moof in enumerate(file.moofs):
        samples = file.fragment_samples(moof, track)
        base = len(out) + len(moof_without_offset(track, i + 1, samples, 0)) + 8
        entries.append((samples[0].pts, len(out)))
        out += moof_without_offset(track, i + 1, samples, base)
        out += box("mdat", *(file.bytes(s) for s in samples))
    path.write_bytes(out + mfra(track.id, entries, wide=False))


def moof_without_offset(track, number, samples, base):
    def run(some, flags, *more):
        rows = [words(s.duration, s.size, s.pts - s.dts) for s in some]
        return full_box("trun", 0, 0xB00 | flags, words(len(some), *more), *rows)

    tfhd = full_box("tfhd", 0, 0x21, words(track.id), struct.pack(">QI", base, NOT_SYNC))
    tfdt = full_box("tfdt", 1, 0, struct.pack(">Q", samples[0].dts))
    return box("moof", full_box("mfhd", 0, 0, words(number)),
               box("traf", tfhd, tfdt, run(samples[:FIRST_RUN], 0x4, 0x2000000), run(samples[FIRST_RUN:], 0)))


# ---- broken files -----------------------------------------------------------------------------------


def cut_plain(folder, path):
    whole = (folder / "plain-tables-first.mp4").read_bytes()
    path.write_bytes(whole[:len(whole) * 2 // 3])


def cut_fragmented(folder, path):
    """Broken off in the fourth fragment's data, and yet with a table: so does a repair that fails."""
    file = source(folder, "fragmented-b2")
    data = next(b for b in file.root.all("mdat") if b.start == file.moofs[3].end)
    path.write_bytes(file.data[:(data.payload + data.end) // 2] + file.data[file.root.one("mfra").start:])


def without_tables(folder, path):
    whole = (folder / "plain-b2.mp4").read_bytes()
    path.write_bytes(whole[:len(whole) // 2])


def half_a_header_behind(folder, path):
    path.write_bytes((folder / "plain-b2.mp4").read_bytes() + b"\0\0\0\x10m")


def too_small_box_behind(folder, path):
    path.write_bytes((folder / "plain-b2.mp4").read_bytes() + b"\0\0\0\x04free")


def more_samples_than_sizes(folder, path):
    file = source(folder, "plain-video-only")
    stsz = file.first("vide").stbl.one("stsz")
    path.write_bytes(overwritten(file, {stsz.payload + 8: words(len(file.first("vide").samples) + 10)}))


def with_tables(folder, path, change):
    """plain-b2 with other tables of the video: change(tables' bytes by type) changes them. The stss and the ctts
    are the last ones."""
    file = source(folder, "plain-b2")
    stbl = file.first("vide").stbl
    tables = {b.kind: bytearray(file.data[b.start:b.end]) for b in stbl.children}
    for last in ("stss", "ctts"):
        tables[last] = tables.pop(last)
    change(tables)
    new = box("stbl", *tables.values())
    path.write_bytes(file.data[:file.moov.start]
                     + rebuilt(file.data, file.moov, lambda data, b: new if b.start == stbl.start else None))


def size_of_sync_samples(tables):
    tables["stss"][3] ^= 0x10


def fewer_compositions_stated(tables):
    tables["ctts"][15] ^= 1


def half_the_compositions(tables):
    """A sound table, but for half of the samples."""
    ctts = tables["ctts"]
    half = boxes.number(ctts, 12) // 2
    tables["ctts"] = full_box("ctts", 0, 0, words(half), ctts[16:16 + 8 * half])


def times_of_fewer(tables):
    tables["stts"][16:20] = words(boxes.number(tables["stts"], 16) * 2 // 5)


def other_number_of_sync_samples(tables):
    tables["stss"][15] ^= 1


def fewer_samples_stated(tables):
    tables["stsz"][16:20] = words(boxes.number(tables["stsz"], 16) // 2)


def cut_in_front_of_the_fragments(folder, path):
    """Its moov has samples of its own, and says that there are more."""
    file = source(folder, "fragmented-behind-samples")
    path.write_bytes(file.data[:file.moofs[0].start])


def many_boxes_first(folder, path):
    path.write_bytes(box("free") * 70 + (folder / "plain-b2.mp4").read_bytes())


def trak_over_the_moov(folder, path):
    file = source(folder, "plain-b2")
    path.write_bytes(overwritten(file, {file.moov.one("trak").start: words(len(file.data))}))


def zeros_in_front_of_a_track(folder, path):
    file = source(folder, "plain-video-only")
    trak = file.moov.one("trak")

    def change(data, b):
        return box("trak", bytes(92), data[trak.payload:trak.end]) if b.start == trak.start else None

    path.write_bytes(file.data[:file.moov.start] + rebuilt(file.data, file.moov, change))


def only_media(folder, path):
    file = source(folder, "plain-b2")
    mdat = file.root.one("mdat")
    path.write_bytes(file.data[:mdat.start] + words(0) + file.data[mdat.start + 4:mdat.end])


def moov_too_long(folder, path):
    file = source(folder, "plain-b2")
    size = (256 << 20) + 9
    rest = file.data[file.moov.payload:file.moov.end]
    with open(path, "wb") as out:
        out.write(file.data[:file.moov.start] + words(size) + b"moov" + rest)
        out.write(words(size - 8 - len(rest)) + b"free")
        out.truncate(file.moov.start + size)


PATCHED = {
    "plain-wide-offsets": wide_offsets,
    "plain-behind-five-gib": behind_five_gib,
    "plain-without-sync-samples": without_sync_samples,
    "plain-open-ended": open_ended,
    "plain-trimmed": trimmed,
    "plain-two-entries": two_entries,
    "plain-foreign-entry-first": foreign_entry_first,
    "fragmented-large": large_fragmented,
    "fragmented-without-decode-times": without_decode_times,
    "fragmented-runs-without-offset": runs_without_offset,
    "broken-plain-cut": cut_plain,
    "broken-fragmented-cut": cut_fragmented,
    "broken-without-tables": without_tables,
    "broken-half-a-header-behind": half_a_header_behind,
    "broken-too-small-box-behind": too_small_box_behind,
    "broken-more-samples-than-sizes": more_samples_than_sizes,
    **{f"broken-{change.__name__.replace('_', '-')}": functools.partial(with_tables, change=change)
       for change in (size_of_sync_samples, fewer_compositions_stated, half_the_compositions, times_of_fewer,
                      other_number_of_sync_samples, fewer_samples_stated)},
    "broken-cut-in-front-of-the-fragments": cut_in_front_of_the_fragments,
    "broken-many-boxes-first": many_boxes_first,
    "broken-trak-over-the-moov": trak_over_the_moov,
    "broken-zeros-in-front-of-a-track": zeros_in_front_of_a_track,
    "broken-only-media": only_media,
    "broken-moov-too-long": moov_too_long,
    "broken-text": lambda folder, path: path.write_text("this is no video\n" * 100, encoding="utf-8"),
    "broken-empty": lambda folder, path: path.write_bytes(b""),
}

NAMES = [*make_media.MP4_RECIPES, *PATCHED]
SOUND = [name for name in NAMES if not name.startswith("broken-")]
