#!/usr/bin/env python3
"""bench_session.py [--runs N] [--only edit|copy]: the measurements of tools/bench, inside the rig."""
import argparse
import json
import os
import re
import resource
import shutil
import statistics
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


# ---- edit operations, beside the bare copy of the clip list ------------------------------------------


def edit(_runs):
    out = FOLDER / "edit.json"
    subprocess.run([NATIVE / "edit_bench", f"--benchmark_out={out}", "--benchmark_out_format=json",
                    "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true",
                    "--benchmark_enable_random_interleaving=true"],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    times = {}
    for row in json.loads(out.read_text(encoding="utf-8"))["benchmarks"]:
        if row.get("aggregate_name") == "median":
            name, clips = re.match(r"([^/]+)/(\d+)", row["run_name"]).groups()
            times.setdefault(name, {})[int(clips)] = row["cpu_time"]
    peer = next(name for name in times if "copy" in name.lower())
    print(f"Edit operations, ns of processor time (ratio to {peer}), medians of 5, by number of clips")
    for name, row in times.items():
        cells = [f"{ns:12.0f} ({ns / times[peer][clips]:5.2f})" for clips, ns in sorted(row.items())]
        print(f"  {name:28}", *cells)


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


MEASUREMENTS = {"edit": edit, "copy": copy}


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
