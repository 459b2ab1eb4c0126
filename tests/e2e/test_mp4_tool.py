"""velkantrix-mp4 on Windows says byte for byte what it says natively, where tests/mp4files compares that with other
readers."""
import shutil
import subprocess

import conftest
import mp4_files
import places
import pytest

WINDOWS = places.BUILD / "tools" / "velkantrix-mp4" / "velkantrix-mp4.exe"
NATIVE = places.ROOT / "build" / "native-release" / "tools" / "velkantrix-mp4" / "velkantrix-mp4"


def result_of(*command, **more):
    done = subprocess.run(command, capture_output=True, timeout=conftest.LONGEST_RUN, check=False,
                          stdin=subprocess.DEVNULL, **more)
    return done.returncode, done.stdout, done.stderr


def on_windows(*words, **more):
    return result_of(places.RUN, str(WINDOWS), *words, **more)


def natively(*words):
    return result_of(NATIVE, *words)


@pytest.fixture(scope="session")
def files():
    return mp4_files.make_all(places.ROOT / "build" / "media" / "mp4")


@pytest.mark.parametrize("name", mp4_files.NAMES)
def test_both_programs_say_the_same(files, name):
    options = ("--samples", "--keyframe", "1.5", "--claim")
    found = on_windows(places.windows_path(files[name]), *options)
    assert found[1].startswith(b'{"probe":')
    assert found == natively(str(files[name]), *options)


@pytest.mark.parametrize("words", [("--help",), ("--version",), (), ("a.mp4", "b.mp4"), ("--slow",),
                                   ("a.mp4", "--größe日"), ("a.mp4", "--keyframe", "1,5"), ("none 日本 😀.mp4",)])
def test_both_programs_take_the_same_words(words):
    found = on_windows(*words)
    assert found == natively(*words)
    assert b"\r" not in found[1] + found[2]


def test_names_may_hold_spaces_and_any_script(files, tmp_path):
    path = tmp_path / "Schönes Video – 日本 😀.mp4"
    shutil.copy(files["fragmented-b2"], path)
    assert on_windows(places.windows_path(path), "--samples") == natively(str(path), "--samples")
    assert on_windows(path.name, cwd=tmp_path)[0] == 0


def test_a_name_may_be_very_long(files, tmp_path):
    """Can't prove that Windows opens it: Wine limits no name's length, so the form that Windows needs is shown
    only not to be in the way."""
    folder = tmp_path
    while len(str(folder)) < 400:
        folder = folder / ("folder" * 10)
    folder.mkdir(parents=True)
    path = folder / "video.mp4"
    shutil.copy(files["plain-b2"], path)
    assert on_windows(places.windows_path(path), "--samples") == natively(str(path), "--samples")


def test_a_folder_is_no_file(tmp_path):
    folder = places.windows_path(tmp_path)
    assert on_windows(folder) == (1, b"", f"velkantrix-mp4: Can't open {folder}\n".encode())


def test_an_output_that_takes_nothing_is_a_failure(files):
    with open("/dev/full", "wb") as full:
        done = subprocess.run([places.RUN, str(WINDOWS), places.windows_path(files["plain-b2"])], stdout=full,
                              stderr=subprocess.PIPE, timeout=conftest.LONGEST_RUN, check=False)
    assert (done.returncode, done.stderr) == (1, b"velkantrix-mp4: The output can't be written.\n")


def test_the_command_of_this_machine_runs_it(files, tmp_path):
    path = files["fragmented-b2"]
    command = places.ROOT / "tools" / "mp4info"
    found = result_of(command, "--keyframe", "1.5", "--", path.name, cwd=path.parent)
    assert found == natively("--keyframe", "1.5", str(path))
    assert result_of(command, "--slow")[0] == 2
    assert result_of(command, str(tmp_path / "none.mp4"))[0] == 1
