"""An MP4 file's boxes and the samples they describe, read straight from the bytes (ISO/IEC 14496-12), and bytes
of boxes to patch files with. Everything is unfolded: files here are small, or mostly holes."""
import mmap
import struct
from dataclasses import dataclass, field

CONTAINERS = {"moov", "trak", "mdia", "minf", "stbl", "edts", "moof", "traf", "mvex", "mfra"}


def number(data, at, width=4):
    return int.from_bytes(data[at:at + width], "big")


def signed(data, at, width=4):
    return int.from_bytes(data[at:at + width], "big", signed=True)


@dataclass
class Box:
    kind: str
    start: int    # of the header, from the start of the file
    payload: int
    end: int
    children: list = field(default_factory=list)

    def all(self, *path):
        """The boxes below this one that the path of types leads to."""
        found = [self]
        for kind in path:
            found = [child for box in found for child in box.children if child.kind == kind]
        return found

    def one(self, *path):
        found = self.all(*path)
        return found[0] if found else None


def parse(data, start=0, end=None):
    """The boxes of a range; those of containers have children."""
    end = len(data) if end is None else end
    found = []
    while start + 8 <= end:
        size, payload = number(data, start), start + 8
        if size == 1:
            size, payload = number(data, start + 8, 8), start + 16
        elif size == 0:
            size = end - start
        box = Box(data[start + 4:start + 8].decode("latin-1"), start, payload, start + size)
        if box.end < payload or box.end > end:
            break
        if box.kind in CONTAINERS:
            box.children = parse(data, payload, box.end)
        found.append(box)
        start = box.end
    return found


@dataclass
class Sample:
    offset: int
    size: int
    dts: int
    pts: int
    duration: int
    key: bool


@dataclass
class Entry:
    """One of a tfra."""
    time: int
    offset: int
    traf: int
    trun: int
    sample: int


@dataclass
class Track:
    id: int
    handler: str
    timescale: int
    edits: list   # (duration in the movie's time scale, media time)
    samples: list
    stbl: Box
    defaults: tuple = (0, 0, 0)  # trex: duration, size, flags


class File:
    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        self.root = Box("file", 0, 0, len(self.data), parse(self.data))
        self.moov = self.root.one("moov")
        self.movie_timescale = self._times(self.moov.one("mvhd"))[0]
        self.tracks = [self._track(trak) for trak in self.moov.all("trak")]
        for trex in self.moov.all("mvex", "trex"):
            at = trex.payload
            self.track(number(self.data, at + 4)).defaults = tuple(number(self.data, at + 12 + 4 * i) for i in range(3))
        self.moofs = self.root.all("moof")

    def track(self, track_id):
        return next(t for t in self.tracks if t.id == track_id)

    def first(self, handler):
        return next((t for t in self.tracks if t.handler == handler), None)

    def bytes(self, sample):
        return self.data[sample.offset:sample.offset + sample.size]

    def payload(self, box):
        return self.data[box.payload:box.end]

    def _times(self, box):
        """What stands behind the two times of a tkhd, mdhd or mvhd."""
        at = box.payload + (20 if self.data[box.payload] == 1 else 12)
        return number(self.data, at), at

    def _track(self, trak):
        data = self.data
        hdlr = trak.one("mdia", "hdlr").payload
        stbl = trak.one("mdia", "minf", "stbl")
        return Track(self._times(trak.one("tkhd"))[0], data[hdlr + 8:hdlr + 12].decode("latin-1"),
                     self._times(trak.one("mdia", "mdhd"))[0], self._edits(trak.one("edts", "elst")),
                     self._plain_samples(stbl), stbl)

    def _edits(self, elst):
        if elst is None:
            return []
        wide = 8 if self.data[elst.payload] == 1 else 4
        rows = range(number(self.data, elst.payload + 4))
        at = [elst.payload + 8 + i * (2 * wide + 4) for i in rows]
        return [(number(self.data, a, wide), signed(self.data, a + wide, wide)) for a in at]

    def edit_offset(self, track):
        """What presentation adds to a composition time, in the track's ticks: empty edits, less the first
        other one's start."""
        empty = 0
        for duration, media_time in track.edits:
            if media_time != -1:
                return round(empty * track.timescale / self.movie_timescale) - media_time
            empty += duration
        return round(empty * track.timescale / self.movie_timescale)

    # ---- plain files --------------------------------------------------------------------------------

    def _rows(self, box, width):
        """The rows of a table, each of `width` 32-bit numbers."""
        if box is None:
            return None
        count = number(self.data, box.payload + 4)
        flat = struct.unpack_from(f">{count * width}I", self.data, box.payload + 8)
        return [flat[i:i + width] for i in range(0, len(flat), width)]

    def sync_numbers(self, stbl):
        rows = self._rows(stbl.one("stss"), 1)
        return None if rows is None else [row[0] for row in rows]

    def _plain_samples(self, stbl):
        data, stsz = self.data, stbl.one("stsz")
        if stsz is None:
            return []
        uniform, count = number(data, stsz.payload + 4), number(data, stsz.payload + 8)
        sizes = [uniform] * count if uniform else list(struct.unpack_from(f">{count}I", data, stsz.payload + 12))
        deltas = [delta for n, delta in self._rows(stbl.one("stts"), 2) for _ in range(n)]
        shifts = [shift - (shift >> 31 << 32) for n, shift in self._rows(stbl.one("ctts"), 2) or [] for _ in range(n)]
        offsets = self._offsets(stbl, sizes)
        sync = self.sync_numbers(stbl)
        samples, dts = [], 0
        for i in range(count):
            shift = shifts[i] if i < len(shifts) else 0
            samples.append(Sample(offsets[i], sizes[i], dts, dts + shift, deltas[i], sync is None or i + 1 in sync))
            dts += deltas[i]
        return samples

    def _offsets(self, stbl, sizes):
        chunks = [row[0] for row in self._rows(stbl.one("stco"), 1) or []]
        if stbl.one("co64"):
            chunks = [high << 32 | low for high, low in self._rows(stbl.one("co64"), 2)]
        runs = self._rows(stbl.one("stsc"), 3)
        offsets, run = [], -1
        for i, at in enumerate(chunks):
            if run + 1 < len(runs) and runs[run + 1][0] == i + 1:
                run += 1
            for _ in range(runs[run][1]):
                offsets.append(at)
                at += sizes[len(offsets) - 1]
        return offsets

    # ---- fragmented files -----------------------------------------------------------------------------

    def fragment_samples(self, moof, track):
        """A fragment's samples of a track, by the standard; a traf must have a tfdt, and truns a data offset."""
        samples, base = [], moof.start
        for traf in moof.all("traf"):
            tfhd = traf.one("tfhd").payload
            track_id = number(self.data, tfhd + 4)
            if number(self.data, tfhd) & 0x20000:
                base = moof.start
            found = self._traf_samples(traf, tfhd, self.track(track_id), base)
            base = found[-1].offset + found[-1].size  # unless the next traf says otherwise
            samples += found if track_id == track.id else []
        return samples

    def _traf_samples(self, traf, tfhd, track, base):
        data, flags, at = self.data, number(self.data, tfhd), tfhd + 8
        if flags & 0x1:
            base, at = number(data, at, 8), at + 8
        if flags & 0x2:
            at += 4
        defaults = list(track.defaults)
        for i, flag in enumerate((0x8, 0x10, 0x20)):
            if flags & flag:
                defaults[i], at = number(data, at), at + 4
        tfdt = traf.one("tfdt").payload
        dts = number(data, tfdt + 4, 8 if data[tfdt] == 1 else 4)
        samples = []
        for trun in traf.all("trun"):
            run = self._trun_samples(trun, base, dts, defaults)
            dts += sum(s.duration for s in run)
            samples += run
        return samples

    def _trun_samples(self, trun, base, dts, defaults):
        data, flags, count = self.data, number(self.data, trun.payload), number(self.data, trun.payload + 4)
        assert flags & 0x1, "without a data offset there would be two ways to understand it"
        offset, at = base + signed(data, trun.payload + 8), trun.payload + 12
        first_flags = None
        if flags & 0x4:
            first_flags, at = number(data, at), at + 4
        samples = []
        for i in range(count):
            values = [*defaults, 0]
            for k, flag in enumerate((0x100, 0x200, 0x400, 0x800)):
                if flags & flag:
                    values[k], at = (signed if k == 3 else number)(data, at), at + 4
            duration, size, sample_flags, shift = values
            if i == 0 and first_flags is not None:
                sample_flags = first_flags
            samples.append(Sample(offset, size, dts, dts + shift, duration, not sample_flags & 0x10000))
            offset, dts = offset + size, dts + duration
        return samples

    def random_access(self, track):
        """The entries of the track's tfra, as stored."""
        for tfra in self.root.all("mfra", "tfra"):
            if number(self.data, tfra.payload + 4) == track.id:
                return self._tfra_entries(tfra)
        return []

    def _tfra_entries(self, tfra):
        data, at = self.data, tfra.payload + 16
        wide = 8 if data[tfra.payload] == 1 else 4
        lengths = number(data, tfra.payload + 8)
        widths = [wide, wide, (lengths >> 4 & 3) + 1, (lengths >> 2 & 3) + 1, (lengths & 3) + 1]
        entries = []
        for _ in range(number(data, tfra.payload + 12)):
            values = []
            for width in widths:
                values.append(number(data, at, width))
                at += width
            entries.append(Entry(*values))
        return entries


# ---- bytes of boxes -------------------------------------------------------------------------------------


def box(kind, *parts):
    payload = b"".join(parts)
    return struct.pack(">I", 8 + len(payload)) + kind.encode() + payload


def large_box(kind, payload_size):
    """The header alone, of a box with a 64-bit size."""
    return struct.pack(">I4sQ", 1, kind.encode(), 16 + payload_size)


def full_box(kind, version, flags, *parts):
    return box(kind, struct.pack(">I", version << 24 | flags), *parts)


def words(*values):
    return struct.pack(f">{len(values)}I", *(v & 0xFFFFFFFF for v in values))


def rebuilt(data, tree, change):
    """The bytes of a box, every box below it given to `change(data, box)`: what that returns takes its place,
    nothing if it is empty; None leaves it. The sizes of the containers are right again."""
    new = change(data, tree)
    if new is not None:
        return new
    if not tree.children:
        return data[tree.start:tree.end]
    return box(tree.kind, *(rebuilt(data, child, change) for child in tree.children))
