"""The program file as it is shipped: hardened, stripped, and with nothing to install beside it."""
import re
import subprocess

import conftest
import pytest

PROGRAMS = ["tools/velkantrix-cut/velkantrix-cut.exe", "tools/velkantrix-mp4/velkantrix-mp4.exe"]

# Libraries of the operating system that the programs may ask for.
OF_THE_SYSTEM = {"advapi32.dll", "kernel32.dll", "mfplat.dll", "mfreadwrite.dll", "msvcrt.dll", "ole32.dll",
                 "user32.dll"}


def objdump(*words):
    return subprocess.run(["x86_64-w64-mingw32-objdump", *words], check=True, capture_output=True,
                          text=True).stdout


@pytest.fixture(params=PROGRAMS)
def program(request):
    return conftest.BUILD / request.param


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
    listed = (conftest.ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    version = listed.split("project(velkantrix VERSION ")[1].split()[0]
    assert ("ProductVersion\0" + version).encode("utf-16-le") in \
        program.read_bytes().replace(b"\0\0\0\0", b"\0\0")


def test_its_manifest_asks_for_long_paths_and_no_more_rights(program):
    data = program.read_bytes()
    assert data.count(b"<assembly") == 1
    assert b">true</longPathAware>" in data
    assert b'level="asInvoker"' in data
