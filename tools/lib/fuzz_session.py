#!/usr/bin/env python3
"""fuzz_session.py NAME SECONDS: runs one built fuzzer, inside the rig, with all that belongs to it."""
import os
import sys
from pathlib import Path

BUILD = Path(__file__).resolve().parents[2] / "build"
PROGRAMS = BUILD / "fuzz" / "fuzz"


def fuzzers():
    return sorted(path.name for path in PROGRAMS.glob("*_fuzz"))


def command(name, seconds, artifacts):
    """The words that run it: on what earlier runs have found out, and on its seeds."""
    corpus = BUILD / "fuzz" / "corpus" / name
    corpus.mkdir(parents=True, exist_ok=True)
    artifacts.mkdir(parents=True, exist_ok=True)
    words = [PROGRAMS / name, f"-max_total_time={seconds}", "-timeout=10", "-rss_limit_mb=2048",
             "-print_final_stats=1", f"-artifact_prefix={artifacts}/{name}-"]
    dictionary, seeds = PROGRAMS / f"{name}.dict", PROGRAMS / f"{name}.seeds"
    if dictionary.exists():
        words.append(f"-dict={dictionary}")
    words.append(corpus)
    if seeds.exists():
        words.append(seeds)
    return [str(word) for word in words]


def main():
    if len(sys.argv) != 3 or not sys.argv[2].isdecimal() or int(sys.argv[2]) == 0:
        print("usage: tools/fuzz NAME SECONDS; there are:", *fuzzers(), file=sys.stderr)
        return 2
    name, seconds = sys.argv[1:]
    if name not in fuzzers():
        print(f"tools/fuzz: no fuzzer {name}; there are: {' '.join(fuzzers())}", file=sys.stderr)
        return 2
    words = command(name, seconds, BUILD / "fuzz" / "finds")
    os.execv(words[0], words)


if __name__ == "__main__":
    sys.exit(main())
