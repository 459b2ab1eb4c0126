"""The program file as it is shipped: hardened, stripped, and with nothing to install beside it."""
import re
import subprocess

import places
import pytest

WINDOW_PROGRAM = "app/Velkantrix.exe"
PROGRAMS = [WINDOW_PROGRAM, "tools/velkantrix-cut/velkantrix-cut.exe", "tools/velkantrix-mp4/velkantrix-mp4.exe"]

# Libraries that every edition of the operating system has. Not those of Media Foundation, which N editions
# lack, nor those that only some uses of the program need: they are loaded when they are needed.
OF_THE_SYSTEM = {"advapi32.dll", "comctl32.dll", "d3d11.dll", "dwmapi.dll", "gdi32.dll", "kernel32.dll",
                 "msimg32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll", "shlwapi.dll",
                 "user32.dll", "winmm.dll"}


def objdump(*words):
    return subprocess.run(["x86_64-w64-mingw32-objdump", *words], check=True, capture_output=True,
                          text=True).stdout


@pytest.fixture(params=PROGRAMS)
def program(request):
    return places.BUILD / request.param


def test_addresses_are_random_and_data_is_not_executable(program):
    header = objdump("-p", str(program))
    for flag in ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"):
        assert flag in header
    assert ".reloc" in objdump("-h", str(program))


def test_it_needs_only_the_system(program):
    asked = {name.lower() for name in re.findall(r"DLL Name: (\S+)", objdump("-p", str(program)))}
    assert asked and asked <= OF_THE_SYSTEM


def test_symbols_lie_beside_it(program):
    sections = objdump("-h", str(program))
    assert ".debug_info" not in sections
    assert ".gnu_debuglink" in sections
    assert "no symbols" in objdump("-t", str(program))
    symbols = program.with_name(program.name + ".debug")
    assert ".debug_info" in objdump("-h", str(symbols))


def test_its_resource_holds_the_projects_version(program):
    listed = (places.ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    version = listed.split("project(velkantrix VERSION ")[1].split()[0]
    assert ("ProductVersion\0" + version).encode("utf-16-le") in \
        program.read_bytes().replace(b"\0\0\0\0", b"\0\0")


def test_its_manifest_asks_for_long_paths_and_no_more_rights(program):
    data = program.read_bytes()
    assert data.count(b"<assembly ") == 1
    assert b">true</longPathAware>" in data
    assert b'level="asInvoker"' in data


def test_the_window_program_is_small():
    assert (places.BUILD / WINDOW_PROGRAM).stat().st_size < 1_500_000


def test_the_window_programs_manifest_asks_for_new_controls_and_leaves_the_dpi_alone():
    data = (places.BUILD / WINDOW_PROGRAM).read_bytes()
    assert b'name="Microsoft.Windows.Common-Controls" version="6.0.0.0"' in data
    assert b"{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}" in data
    assert b"dpiAware" not in data


def test_the_icon_is_what_the_script_draws(tmp_path):
    drawn = tmp_path / "drawn.ico"
    subprocess.run(["python3", str(places.ROOT / "tools" / "make_icon.py"), str(drawn)], check=True)
    assert drawn.read_bytes() == (places.ROOT / "app" / "velkantrix.ico").read_bytes()
