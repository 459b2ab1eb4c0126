#!/usr/bin/env python3
"""test_session.py [native|windows] [--only REGEX] [--long]: builds and runs the tests, inside the rig.

Every runner (ctest, pytest, the rig's own tests) writes its results as JUnit XML; this adds them up. A
step that can't even build counts as one failed test, so that nothing is lost from sight.
"""
import argparse
import os
import re
import subprocess
import sys
import time
import xml.etree.ElementTree as ElementTree
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from pathlib import Path

import fuzz_session

ROOT = Path(__file__).resolve().parents[2]
BUILD = ROOT / "build"
RESULTS = BUILD / "results"
RUN = ROOT / "tools" / "rig" / "run"
JOBS = str(os.cpu_count() or 2)
FUZZ_SECONDS = {False: 10, True: 60}  # by --long


@dataclass
class Outcome:
    name: str
    passed: int = 0
    failed: list = field(default_factory=list)
    skipped: list = field(default_factory=list)
    seconds: float = 0
    details: dict = field(default_factory=dict)  # of failed ones: what they printed

    def add(self, part):
        self.passed += part.passed
        self.failed += part.failed
        self.skipped += part.skipped
        self.details.update(part.details)


class StepFailed(Exception):
    """A command of a step failed; its output has been shown."""


def run(*words, log=None, **more):
    """Runs a command in the repository. Its output goes to `log` and is shown only on failure."""
    if log is None:
        result = subprocess.run(words, cwd=ROOT, check=False, **more)
    else:
        log.parent.mkdir(parents=True, exist_ok=True)
        with open(log, "w", encoding="utf-8") as file:
            result = subprocess.run(words, cwd=ROOT, stdout=file, stderr=subprocess.STDOUT,
                                    check=False, **more)
        if result.returncode:
            print("".join(log.read_text(encoding="utf-8", errors="replace").splitlines(True)[-60:]))
    return result.returncode


def must_run(*words, log):
    if run(*words, log=log):
        raise StepFailed(" ".join(str(w) for w in words[:6]))


def build(preset, *targets, before=(), settings=()):
    folder = BUILD / preset
    # Always: presets may have changed since.
    must_run("cmake", "--preset", preset, *settings, log=RESULTS / f"{preset}.configure.log")
    words = [*before, "cmake", "--build", folder, "-j", JOBS]
    must_run(*words, *(["--target", *targets] if targets else []), log=RESULTS / f"{preset}.build.log")


def what_failed(text, most=25):
    """The lines that say so, of a test program that may hold hundreds of tests; else the last ones."""
    lines = [line for line in text.splitlines() if line.strip()]
    starts = [i for i, line in enumerate(lines) if line.rstrip().endswith(": Failure")]
    told = sorted({k for i in starts for k in range(i, min(i + 7, len(lines)))})
    return [lines[k] for k in told[:most]] or lines[-most:]


def read_junit(path, outcome):
    """Adds the results of a JUnit file. None at all is a failure of the runner."""
    if not path.exists():
        outcome.failed.append(f"{path.stem}: no results")
        return
    for case in ElementTree.parse(path).getroot().iter("testcase"):
        name = ".".join(filter(None, [case.get("classname"), case.get("name")]))
        if case.get("classname") == case.get("name"):
            name = case.get("name")
        skipped = case.find("skipped")
        reason = (skipped.get("message") or "").strip() if skipped is not None else ""
        # ctest says "notrun" of a test whose program or fixture is missing, too: that is no skip.
        lost = case.get("status") == "notrun" and not reason.startswith("SKIP_")
        if lost or case.find("failure") is not None or case.find("error") is not None:
            outcome.failed.append(name)
            outcome.details[name] = what_failed("".join(case.itertext()))
        elif skipped is not None or case.get("status") == "disabled":
            outcome.skipped.append(f"{name}: {reason}" if reason else name)
        else:
            outcome.passed += 1


def ctest(preset, options, outcome):
    junit = RESULTS / f"{preset}.xml"
    junit.unlink(missing_ok=True)
    words = ["ctest", "--test-dir", BUILD / preset, "--output-on-failure", "--output-junit", junit,
             "-j", JOBS, "--no-tests=ignore" if options.only else "--no-tests=error"]
    if options.only:
        words += ["-R", options.only]
    failed = run(*words, env=environment(options), log=RESULTS / f"{preset}.ctest.log")
    if junit.exists() or not options.only:
        read_junit(junit, outcome)
    if failed and not outcome.failed:
        outcome.failed.append(f"{preset}: ctest ended with {failed}")


def pytest(folder, options, *more):
    """The outcome of a folder's tests, or of those that `more` chooses."""
    outcome = Outcome("-".join([folder, *(word.strip("-") for word in more)]))
    junit = RESULTS / f"{outcome.name}.xml"
    junit.unlink(missing_ok=True)
    failed = run("python3", "-m", "pytest", "-q", f"tests/{folder}", "--junitxml", junit, "--only",
                 options.only or "", "-o", "junit_family=xunit1", *more, env=environment(options),
                 log=RESULTS / f"{outcome.name}.log")
    read_junit(junit, outcome)
    nothing_chosen = failed == 5 and options.only
    if failed and not outcome.failed and not nothing_chosen:
        outcome.failed.append(f"{outcome.name}: pytest ended with {failed}")
    return outcome


def environment(options):
    more = {"VELKANTRIX_LONG": "1"} if options.long else {}
    return {**os.environ, **more, "ASAN_OPTIONS": "detect_leaks=1:strict_string_checks=1",
            "TSAN_OPTIONS": "halt_on_error=1", "UBSAN_OPTIONS": "print_stacktrace=1"}


# ---- the steps ----------------------------------------------------------------------------------


def check(outcome, name, *words):
    if run(*words, log=RESULTS / f"{name}.log"):
        outcome.failed.append(name)
    else:
        outcome.passed += 1


def tracked(*patterns):
    """Our own files of these kinds; those git doesn't know yet count too."""
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", *patterns], cwd=ROOT,
                            capture_output=True, text=True, check=True).stdout.split("\n")
    return [name for name in listed if name and (ROOT / name).is_file()]


def is_shell(name):
    with open(ROOT / name, "rb") as file:
        return re.match(rb"#!\s*/bin/(ba)?sh|#!\s*/usr/bin/env bash", file.readline()) is not None


def style(options, outcome):
    if options.only:
        return
    check(outcome, "clang-format", "clang-format", "--dry-run", "-Werror", *tracked("*.h", "*.c", "*.cpp"))
    scripts = [name for name in tracked() if is_shell(name)]
    check(outcome, "shellcheck", "shellcheck", "-x", *scripts)


def native(options, outcome):
    build("native")
    ctest("native", options, outcome)


# Without sanitizers the Windows build runs them too; here they have their full counts.
def native_release(options, outcome):
    build("native-release")
    ctest("native-release", options, outcome)


def native_tsan(options, outcome):
    build("native-tsan")
    ctest("native-tsan", options, outcome)


def native_files(options, outcome):
    build("native", "velkantrix-mp4")
    outcome.add(pytest("mp4files", options))


def fuzz(options, outcome):
    build("fuzz")
    names = fuzz_session.fuzzers()
    if not names:
        outcome.failed.append("fuzz: there are no fuzzers")
    chosen = [name for name in names if not options.only or re.search(options.only, name)]

    def find_nothing(name):
        words = fuzz_session.command(name, FUZZ_SECONDS[options.long], RESULTS)
        return run(*words, log=RESULTS / f"{name}.log") == 0

    with ThreadPoolExecutor(int(JOBS)) as pool:  # each keeps one core busy
        for name, good in zip(chosen, pool.map(find_nothing, chosen)):
            if good:
                outcome.passed += 1
            else:
                outcome.failed.append(name)


def windows(options, outcome):
    build("windows")
    if options.long:  # each header on its own: what has one first of all has shown most of that
        build("windows", "all_verify_interface_header_sets")
    ctest("windows", options, outcome)


# What is shipped; the rest, which takes as long again, with the full counts only.
def windows_lint(options, outcome):
    if options.only:
        return
    tests, targets = ("ON", ["all"]) if options.long else ("OFF", SHIPPED)
    build("windows-lint", *targets, before=["nice", "-n", "19"], settings=[f"-DVELKANTRIX_TESTS={tests}"])
    outcome.passed += 1


# The tests of windows share a screen and mostly wait: the command line's run beside them.
def end_to_end(options, outcome):
    build("windows-release")
    build("native-release", "velkantrix-mp4")  # whose output is the Windows program's too
    must_run("python3", "tests/support/make_media.py", BUILD / "media", log=RESULTS / "media.log")
    with ThreadPoolExecutor(2) as pool:
        for part in pool.map(lambda which: pytest("e2e", options, f"--windows={which}"), ["with", "without"]):
            outcome.add(part)
    outcome.add(pytest("e2e", options, "--windows=alone"))


def rig(options, outcome):
    if options.only and not re.search(options.only, "rig"):
        return
    junit = RESULTS / "rig.xml"
    junit.unlink(missing_ok=True)
    failed = run(ROOT / "tools" / "rig" / "selftest" / "selftest", "--junit", junit,
                 log=RESULTS / "rig.log")
    read_junit(junit, outcome)
    if failed and not outcome.failed:
        outcome.failed.append(f"rig: its own tests ended with {failed}")


STEPS = {
    "native": {"style": style, "native": native, "native-release": native_release,
               "native-tsan": native_tsan, "native files": native_files, "fuzz": fuzz},
    "windows": {"windows-lint": windows_lint, "rig": rig, "windows": windows, "end to end": end_to_end},
}


LONG_ONLY = {"native-release"}
SHIPPED = ["Velkantrix", "velkantrix-cut", "velkantrix-mp4"]

# Done beside what comes after it, which goes first: much of that waits, for windows and for times.
BESIDE = {"windows-lint"}


def perform_all(steps, options, beside):
    """The outcomes of a half's steps; those beside others come as futures."""
    return [beside.submit(perform, name, step, options) if name in BESIDE else perform(name, step, options)
            for name, step in steps.items()]


def perform(name, step, options):
    outcome = Outcome(name)
    begun = time.monotonic()
    if name in LONG_ONLY and not options.long:
        return outcome
    print(f"---- {name} ...", flush=True)
    try:
        step(options, outcome)
    except StepFailed as failure:
        outcome.failed.append(f"{name}: {failure} failed")
    except (OSError, subprocess.SubprocessError, ElementTree.ParseError) as failure:
        outcome.failed.append(f"{name}: {failure}")
    outcome.seconds = time.monotonic() - begun
    if options.only and not (outcome.passed or outcome.failed or outcome.skipped):
        print(f"     {name}: no test matches")
    print(f"     {name}: {outcome.passed} passed, {len(outcome.failed)} failed, "
          f"{len(outcome.skipped)} skipped, {outcome.seconds:.0f} s", flush=True)
    return outcome


def main():
    parser = argparse.ArgumentParser(prog="tools/test")
    parser.add_argument("half", nargs="?", choices=list(STEPS))
    parser.add_argument("--only", metavar="REGEX", help="only the tests whose names match")
    parser.add_argument("--long", action="store_true", help="full counts, longer fuzzing")
    options = parser.parse_args()
    RESULTS.mkdir(parents=True, exist_ok=True)

    begun = time.monotonic()
    outcomes = []
    with ThreadPoolExecutor(1) as beside:
        for half, steps in STEPS.items():
            if options.half in (None, half):
                outcomes += perform_all(steps, options, beside)
            else:
                reason = f"only the {options.half} half was asked for"
                outcomes.append(Outcome(half, skipped=[f"{name}: {reason}" for name in steps]))
    outcomes = [o if isinstance(o, Outcome) else o.result() for o in outcomes]

    failed = [(name, o.details.get(name, [])) for o in outcomes for name in o.failed]
    skipped = [name for o in outcomes for name in o.skipped]
    for name in skipped:
        print(f"SKIPPED  {name}")
    for name, lines in failed:
        print(f"FAILED   {name}")
        for line in lines:
            print(f"         {line}")
    if failed:
        print(f"The full output lies in {RESULTS.relative_to(ROOT)}/.")
    passed = sum(o.passed for o in outcomes)
    print(f"{time.monotonic() - begun:.0f} s")
    print(f"{passed} passed, {len(failed)} failed, {len(skipped)} skipped")
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main())
