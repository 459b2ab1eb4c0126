#!/usr/bin/env python3
"""bench_session.py [--runs N] [--only edit|mp4|copy|start|open|strip|peaks|scrub|export]: the measurements of tools/bench, inside the rig."""
import argparse
import json
import os
import re
import resource
import shutil
import statistics
import struct
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FOLDER = ROOT / "build" / "bench"
NATIVE = ROOT / "build" / "native-release" / "bench"
WINDOWS = ROOT / "build" / "windows-release"
RUN = ROOT / "tools" / "rig" / "run"
GIGABYTE = 1 << 30


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


# ---- Google Benchmark programs -----------------------------------------------------------------------


def medians(program, **more):
    """{name: median processor time} of a program's benchmarks, in the unit of each, interleaved."""
    out = FOLDER / f"{program}.json"
    subprocess.run([NATIVE / program, f"--benchmark_out={out}", "--benchmark_out_format=json",
                    "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true",
                    "--benchmark_enable_random_interleaving=true"],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   env={**os.environ, **more})
    return {row["run_name"]: row["cpu_time"]
            for row in json.loads(out.read_text(encoding="utf-8"))["benchmarks"]
            if row.get("aggregate_name") == "median"}


# ---- edit operations, beside the bare copy of the clip list ------------------------------------------


def edit(_runs):
    times = {}
    for run_name, ns in medians("edit_bench").items():
        name, clips = re.match(r"([^/]+)/(\d+)", run_name).groups()
        times.setdefault(name, {})[int(clips)] = ns
    peer = next(name for name in times if "copy" in name.lower())
    print(f"Edit operations, ns of processor time (ratio to {peer}), medians of 5, by number of clips")
    for name, row in times.items():
        cells = [f"{ns:12.0f} ({ns / times[peer][clips]:5.2f})" for clips, ns in sorted(row.items())]
        print(f"  {name:28}", *cells)


# ---- reading MP4 files, beside their bare bytes and libavformat ----------------------------------------


def ffmpeg(target, *words):
    """Makes a file for the benches, unless it is there."""
    if target.exists():
        return
    part = target.with_suffix(".part.mp4")
    subprocess.run(["ffmpeg", "-v", "error", "-y", *[str(w) for w in words], part], check=True,
                   stdin=subprocess.DEVNULL)
    os.replace(part, target)


def mp4_files():
    clip = FOLDER / "ten-seconds.mp4"
    ffmpeg(clip, "-f", "lavfi", "-i", "testsrc2=size=64x64:rate=60:duration=10", "-c:v", "libx264",
           "-preset", "veryfast", "-pix_fmt", "yuv420p", "-x264-params", "keyint=30:scenecut=0:bframes=2")
    ffmpeg(FOLDER / "hours.mp4", "-stream_loop", 4 * 360 - 1, "-i", clip, "-c", "copy")
    fragmented = ["-movflags", "+frag_keyframe+empty_moov+default_base_moof"]
    # A fragment for each keyframe, two a second.
    ffmpeg(FOLDER / "fragments.mp4", "-stream_loop", 999, "-i", clip, "-c", "copy", *fragmented)
    ffmpeg(FOLDER / "fragmented.mp4", "-i", large_file(), "-c", "copy", *fragmented)


def mp4(_runs):
    mp4_files()
    times = {}
    for run_name, us in medians("mp4_bench", VELKANTRIX_BENCH_FOLDER=str(FOLDER)).items():
        measurement, who = run_name.split("/", 1)
        times.setdefault(measurement, {})[who] = us
    print("Reading MP4 files, us of processor time, medians of 5")
    for measurement, row in times.items():
        print(f"  {measurement}")
        ours = {who: us for who, us in row.items() if who not in ("bytes", "libavformat")}
        for who, us in row.items():
            ratios = [f"{who} to {peer} {us / row[peer]:.3f}" for peer in ("bytes", "libavformat")
                      if who in ours and peer in row]
            print(f"    {who:24}{us:12.0f}   {', '.join(ratios)}")


# ---- the lossless copy of a large file ------------------------------------------------------------


def large_file():
    """A recording of a gigabyte: one of a hundred megabytes, over and over."""
    target = FOLDER / "gigabyte.mp4"
    if target.exists():
        return target
    sys.path.insert(0, str(ROOT / "tests" / "support"))
    import make_media  # noqa: PLC0415
    media = ROOT / "build" / "media"
    make_media.make_all(media, ["large"])
    source = media / "large.mp4"
    times = GIGABYTE // source.stat().st_size
    part = FOLDER / "part.mp4"
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-stream_loop", str(times), "-i", source, "-c", "copy",
                    part], check=True)
    os.replace(part, target)
    return target


def timed(words):
    """Seconds on the clock, and of processor time in user and system mode, of a command."""
    before, begun = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    subprocess.run([str(w) for w in words], check=True, stdout=subprocess.DEVNULL)
    clock = time.monotonic() - begun
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return clock, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def copy_target():
    """In memory where there is room, so that a disk's moods are left out."""
    memory = Path("/dev/shm")
    roomy = memory.is_dir() and shutil.disk_usage(memory).free > 3 * GIGABYTE
    return (memory if roomy else FOLDER) / "velkantrix-bench-copy.mp4"


def copy(runs):
    source, output = large_file(), copy_target()
    commands = {
        "velkantrix-cut": [RUN, WINDOWS / "tools" / "velkantrix-cut" / "velkantrix-cut.exe",
                           windows_path(source), windows_path(output), "--keep", "0-100000"],
        "bare loop": [RUN, WINDOWS / "bench" / "bare-copy.exe", windows_path(source), windows_path(output)],
        "ffmpeg -c copy": ["ffmpeg", "-v", "error", "-y", "-i", source, "-map", "0", "-c", "copy", output],
    }
    taken = {name: [] for name in commands}
    sizes = {}
    try:
        for round_number in range(runs + 1):
            for name, words in commands.items():
                output.unlink(missing_ok=True)
                result = timed(words)
                sizes[name] = output.stat().st_size
                if round_number:  # the first round warms the file up
                    taken[name].append(result)
    finally:
        output.unlink(missing_ok=True)
    print(f"Lossless copy of {source.stat().st_size / GIGABYTE:.2f} GiB, {runs} interleaved runs: medians "
          "(least to most), and the median of velkantrix-cut's ratio to each")
    for what, index in (("clock", 0), ("processor", 1)):
        ours = [t[index] for t in taken["velkantrix-cut"]]
        for name, results in taken.items():
            values = [t[index] for t in results]
            ratio = statistics.median(a / b for a, b in zip(ours, values))
            print(f"  {what:10}{name:16}{statistics.median(values):7.2f} s ({min(values):.2f} to "
                  f"{max(values):.2f})   ratio {ratio:.3f}   {sizes[name]} bytes")


# ---- the program's start, beside a small program of the system's ---------------------------------------


def start(runs):
    sys.path.insert(0, str(ROOT / "tests" / "support"))
    import make_media  # noqa: PLC0415
    media = ROOT / "build" / "media"
    make_media.make_all(media, ["closed"])
    timer, program = WINDOWS / "bench" / "time-start.exe", windows_path(WINDOWS / "app" / "Velkantrix.exe")
    commands = {
        "notepad": ["notepad.exe"],
        "Velkantrix": [program],
        "with a video's picture": [program, windows_path(media / "closed.mp4")],
    }
    taken = {name: [] for name in commands}
    for round_number in range(runs + 1):
        for name, words in commands.items():
            done = subprocess.run([RUN, timer, *words], check=True, stdout=subprocess.PIPE, text=True,
                                  stderr=subprocess.DEVNULL)
            if round_number:  # the first round warms the files up
                taken[name].append(float(done.stdout))
    print(f"From the process's start to a painted window, ms by the clock, {runs} interleaved runs: medians "
          "(least to most), and the median of the ratio to notepad's")
    for name, values in taken.items():
        ratio = statistics.median(a / b for a, b in zip(values, taken["notepad"]))
        print(f"  {name:24}{statistics.median(values):8.1f} ({min(values):.1f} to {max(values):.1f})   "
              f"ratio {ratio:.3f}")


# ---- opening a large recording, with the program's own media source and with the system's -----------------


def large_recording():
    """Two hours in fragments of a second, with sound, of 8 GiB: between the fragments are holes."""
    target = FOLDER / "recording.mp4"
    if target.exists():
        return target
    clip, dense = FOLDER / "recorded.mp4", FOLDER / "dense.mp4"
    ffmpeg(clip, "-f", "lavfi", "-i", "testsrc2=size=640x360:rate=30:duration=10", "-f", "lavfi", "-i",
           "sine=duration=10", "-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p", "-x264-params",
           "keyint=30:scenecut=0:bframes=2", "-c:a", "aac", "-ac", "2")
    ffmpeg(dense, "-stream_loop", 719, "-i", clip, "-c", "copy", "-movflags",
           "+frag_keyframe+delay_moov+default_base_moof")
    spread(dense.read_bytes(), target, 8 * GIGABYTE)
    dense.unlink()
    return target


def spread(data, target, size):
    """Writes a file of fragments so that it takes about so many bytes, and puts its tables right."""
    boxes, at = [], 0
    while at < len(data):
        length, kind = struct.unpack_from(">I4s", data, at)
        boxes.append((kind, at, length))
        at += length
    hole = size // sum(kind == b"moof" for kind, _, _ in boxes)
    moved = {}
    with open(target, "wb") as out:
        for kind, at, length in boxes:
            if kind == b"moof":
                out.write(struct.pack(">I4s", hole, b"free"))
                out.seek(hole - 8, os.SEEK_CUR)
                moved[at] = out.tell()
            out.write(with_places(data[at:at + length], moved) if kind == b"mfra" else data[at:at + length])


def with_places(mfra, moved):
    """Its tables as they are after the fragments have moved: entries of 64-bit time and place."""
    mfra, at = bytearray(mfra), 8
    while at < len(mfra):
        length, kind = struct.unpack_from(">I4s", mfra, at)
        if kind == b"tfra":
            assert mfra[at + 8] == 1
            widths = struct.unpack_from(">I", mfra, at + 16)[0]
            row = 16 + sum((widths >> shift & 3) + 1 for shift in (4, 2, 0))
            for i in range(struct.unpack_from(">I", mfra, at + 20)[0]):
                place = at + 24 + i * row + 8
                struct.pack_into(">Q", mfra, place, moved[struct.unpack_from(">Q", mfra, place)[0]])
        at += length
    return bytes(mfra)


def opening(runs):
    recording = large_recording()
    words = [RUN, WINDOWS / "bench" / "time-start.exe", windows_path(WINDOWS / "app" / "Velkantrix.exe"),
             windows_path(recording)]
    taken = {"own media source": [], "the system's": []}
    for round_number in range(runs + 1):
        for (name, values), choice in zip(taken.items(), "10"):
            done = subprocess.run(words, check=True, stdout=subprocess.PIPE, text=True, stderr=subprocess.DEVNULL,
                                  env={**os.environ, "VELKANTRIX_MP4SRC": choice})
            if round_number:  # the first round warms the files up
                values.append(float(done.stdout))
    print(f"A recording of two hours and {recording.stat().st_size / GIGABYTE:.1f} GiB, from the process's start to "
          f"its picture, ms by the clock, {runs} interleaved runs: medians (least to most), and the median ratio")
    for name, values in taken.items():
        ratio = statistics.median(a / b for a, b in zip(values, taken["the system's"]))
        print(f"  {name:24}{statistics.median(values):8.1f} ({min(values):.1f} to {max(values):.1f})   "
              f"ratio {ratio:.3f}")


# ---- painting the timeline, beside a copy of its area ---------------------------------------------------


def strip(_runs):
    done = subprocess.run([RUN, WINDOWS / "bench" / "strip-bench.exe"], check=True, stdout=subprocess.PIPE,
                          text=True, stderr=subprocess.DEVNULL)
    rows = [json.loads(line) for line in done.stdout.splitlines()]
    bare = {row["clips"]: row["us"] for row in rows if row["name"] == "bare copy"}
    print("Painting the strip of clips, us by the clock, medians of 41, and the ratio to a bare copy of its area")
    for row in rows:
        print(f"  {row['clips']:5} clips  {row['name']:12}{row['us']:10.1f}   "
              f"ratio {row['us'] / bare[row['clips']]:.2f}")


# ---- the peaks of a long recording's sound, beside decoding it -------------------------------------------


def peaks(runs):
    clip, source = FOLDER / "ten-seconds-with-sound.mp4", FOLDER / "two-hours.mp4"
    ffmpeg(clip, "-f", "lavfi", "-i", "testsrc2=size=64x64:rate=30:duration=10", "-f", "lavfi", "-i",
           "sine=sample_rate=48000:duration=10", "-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p",
           "-c:a", "aac", "-b:a", "128k", "-ac", "2")
    ffmpeg(source, "-stream_loop", 719, "-i", clip, "-c", "copy")
    program = [RUN, WINDOWS / "bench" / "peaks-bench.exe", windows_path(source), "7200"]
    commands = {
        "peaks": program,
        "bare reader": [*program, "bare"],
        "ffmpeg to PCM": ["ffmpeg", "-v", "error", "-y", "-i", source, "-map", "0:a:0", "-f", "s16le", "/dev/null"],
    }
    taken = {name: [] for name in commands}
    for round_number in range(runs + 1):
        for name, words in commands.items():
            result = timed(words)
            if round_number:  # the first round warms the file up
                taken[name].append(result)
    print(f"The peaks of two hours of sound, {runs} interleaved runs: medians (least to most), and the median of their "
          "ratio to each")
    for what, index in (("clock", 0), ("processor", 1)):
        ours = [t[index] for t in taken["peaks"]]
        for name, results in taken.items():
            values = [t[index] for t in results]
            ratio = statistics.median(a / b for a, b in zip(ours, values))
            print(f"  {what:10}{name:16}{statistics.median(values):7.2f} s ({min(values):.2f} to "
                  f"{max(values):.2f})   ratio {ratio:.3f}")


# ---- previews of a scrub, beside the bare decoder and ffmpeg's libraries --------------------------------


SCRUB_REQUESTS = 60
SCRUB_SEED = 5


def scrub_file(size):
    """Ten seconds at 30 pictures a second, a keyframe each second, with B-frames."""
    target = FOLDER / f"scrub-{size}.mp4"
    ffmpeg(target, "-f", "lavfi", "-i", f"testsrc2=size={size}:rate=30:duration=10", "-c:v", "libx264", "-preset",
           "veryfast", "-pix_fmt", "yuv420p", "-x264-params", "keyint=30:min-keyint=30:scenecut=0:bframes=3")
    return target


def scrub_times(words):
    done = subprocess.run([str(w) for w in words], check=True, stdout=subprocess.PIPE, text=True,
                          stderr=subprocess.DEVNULL)
    times = {}
    for row in map(json.loads, done.stdout.splitlines()):
        times.setdefault(row["name"], []).append(row["ms"])
    return times


def scrub(_runs):
    print(f"Previews of {SCRUB_REQUESTS} random times of a video, ms by the clock: medians (least to most); the exact "
          "frame without the 75 ms that the hand rests before")
    for size in ("640x360", "1920x1080"):
        path = scrub_file(size)
        ours = scrub_times([RUN, WINDOWS / "bench" / "scrub-bench.exe", windows_path(path), SCRUB_SEED, SCRUB_REQUESTS])
        theirs = scrub_times([NATIVE / "seek-decode", path, SCRUB_SEED, SCRUB_REQUESTS])
        for what in ("keyframe", "exact"):
            values, bare, peer = ours[what], ours[f"{what}, bare"], theirs[what]
            over = statistics.median(a - b for a, b in zip(values, bare))
            ratio = statistics.median(values) / statistics.median(peer)
            print(f"  {size:10}{what:10}{statistics.median(values):8.1f} ({min(values):.1f} to {max(values):.1f})   "
                  f"bare decoder {statistics.median(bare):.1f}, over it {over:+.1f}   "
                  f"libav {statistics.median(peer):.1f}, ratio {ratio:.2f}")


# ---- re-encodes, beside a bare loop from the reader to the writer --------------------------------------


CUT = WINDOWS / "tools" / "velkantrix-cut" / "velkantrix-cut.exe"
BARE_ENCODE = WINDOWS / "bench" / "bare-encode.exe"
WHOLE_MINUTE = ["--keep", "0-60", "--quality", "source"]
ALL_EFFECTS = [*WHOLE_MINUTE, "--exposure", "0.5", "--fade-in", "1:30", "--fade-out", "1:30"]


def moving_pictures(name, size, seconds):
    """At 30 pictures a second, with sound."""
    target = FOLDER / f"{name}.mp4"
    clip = FOLDER / f"{name}-ten-seconds.mp4"
    ffmpeg(clip, "-f", "lavfi", "-i", f"testsrc2=size={size}:rate=30:duration=10", "-f", "lavfi", "-i",
           "sine=sample_rate=48000:duration=10", "-c:v", "libx264", "-preset", "veryfast", "-pix_fmt", "yuv420p",
           "-x264-params", "keyint=60:scenecut=0:bframes=2", "-c:a", "aac", "-ac", "2")
    ffmpeg(target, "-stream_loop", seconds // 10 - 1, "-i", clip, "-c", "copy")
    return target


def export(runs):
    effects()
    encoding(runs)
    export_memory()


def effects():
    times = medians("effects_bench")
    print("Exposure and fades, share of the speed of a bare copy of as many bytes, medians of 5")
    for name, time_taken in times.items():
        print(f"  {name:16}{times['copy'] / time_taken:6.2f}")


def encoding(runs):
    source, rendered, output = moving_pictures("minute-1080", "1920x1080", 60), FOLDER / "rendered.mp4", copy_target()
    cut = [RUN, CUT, windows_path(source), windows_path(output)]
    subprocess.run([str(w) for w in [RUN, CUT, windows_path(source), windows_path(rendered), *ALL_EFFECTS]], check=True,
                   stdout=subprocess.DEVNULL)
    read, write = [RUN, BARE_ENCODE, windows_path(source)], windows_path(output)
    commands = {
        "without": [*cut, *WHOLE_MINUTE], "bare": [*read, write],
        # Faded pictures are less work for an encoder, and recordings of them for a decoder. What the bare loop
        # takes for the effects' pictures is what it takes for their recording, with the source's decoding.
        "effects": [*cut, *ALL_EFFECTS], "bare rendered": [RUN, BARE_ENCODE, windows_path(rendered), write],
        "read": read, "read rendered": [RUN, BARE_ENCODE, windows_path(rendered)],
    }
    taken = {name: [] for name in commands}
    try:
        for _ in range(runs):
            for name, words in commands.items():
                taken[name].append(timed(words))
    finally:
        output.unlink(missing_ok=True)
        rendered.unlink(missing_ok=True)
    print(f"Re-encode of a minute of 1920 x 1080, {runs} interleaved runs: medians of velkantrix-cut and of a bare "
          "reader-to-writer loop, and the median ratio")
    for what, index in (("clock", 0), ("processor", 1)):
        values = {name: [result[index] for result in results] for name, results in taken.items()}
        same_pictures = [bare - easy + own for bare, easy, own in
                         zip(values["bare rendered"], values["read rendered"], values["read"])]
        for name, ours, bare in (("without effects", values["without"], values["bare"]),
                                 ("with all effects", values["effects"], same_pictures)):
            ratio = statistics.median(a / b for a, b in zip(ours, bare))
            print(f"  {what:10}{name:18}{statistics.median(ours):8.2f} s   bare {statistics.median(bare):8.2f} s   "
                  f"ratio {ratio:.3f}")


def peak_memory(words):
    """The largest resident size of a command and what it starts, in MiB."""
    process = subprocess.Popen([str(w) for w in words], stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode:
        raise subprocess.CalledProcessError(process.returncode, words)
    return usage.ru_maxrss / 1024


def export_memory():
    """Long enough to fill what may wait for the encoder."""
    output = copy_target()
    peaks_of = {}
    try:
        for minutes in (1, 10):
            source = moving_pictures(f"memory-{minutes}", "1280x720", minutes * 60)
            peaks_of[minutes] = peak_memory([RUN, CUT, windows_path(source), windows_path(output), "--keep",
                                             f"0-{minutes * 60}", "--quality", "source", "--exposure", "0.5"])
    finally:
        output.unlink(missing_ok=True)
    print(f"Peak memory of re-encodes of 1280 x 720: 1 minute {peaks_of[1]:.0f} MiB, 10 minutes "
          f"{peaks_of[10]:.0f} MiB, ratio {peaks_of[10] / peaks_of[1]:.3f}")


MEASUREMENTS = {"edit": edit, "mp4": mp4, "copy": copy, "start": start, "open": opening, "strip": strip, "peaks": peaks,
                "scrub": scrub, "export": export}


def main():
    parser = argparse.ArgumentParser(prog="tools/bench")
    parser.add_argument("--runs", type=int, default=5, choices=range(1, 101), metavar="N")
    parser.add_argument("--only", choices=list(MEASUREMENTS))
    options = parser.parse_args()
    FOLDER.mkdir(parents=True, exist_ok=True)
    for name, measure in MEASUREMENTS.items():
        if options.only in (None, name):
            measure(options.runs)


if __name__ == "__main__":
    main()
