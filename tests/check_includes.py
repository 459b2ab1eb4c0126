#!/usr/bin/env python3
"""check_includes.py ROOT FOLDERS.TXT: checks which file of the program includes what.

FOLDERS.TXT, written by CMake, has a line "core|windows|posix PATH" for every file of every library. Portable
("core") files may include neither a system's headers nor `platform/`; folders may include only those that
the table below allows; and every file of a folder must belong to a library. In a folder that is portable
but for the twins of one unit, their names say which system they are for.
"""
import re
import sys
from pathlib import Path

# Folder: what its files may include beside themselves. `platform` is for their Windows files alone.
MAY_INCLUDE = {
    "base": set(),
    "platform": {"base"},
    "edit": {"base"},
    "mp4": {"base"},
    "export": {"base", "edit", "mp4", "platform"},
    "playback": {"base", "mp4", "platform"},
    "app": {"base", "platform", "edit", "mp4", "export", "playback"},
}

# Angle-bracket headers that portable files may include: the standard library's have no suffix.
STANDARD_HEADER = re.compile(r"^[a-z_]+$")
GENERATED = {"velkantrix_version.h"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
CODE = (".h", ".cpp")
TWIN = re.compile(r"_(win|posix)$")


def problems_of_file(root, path, side):
    name = path.relative_to(root).as_posix()
    folder = name.split("/")[0]
    own_header = path.with_name(TWIN.sub("", path.stem) + ".h")
    includes = INCLUDE.findall(path.read_text(encoding="utf-8"))
    if path.suffix == ".cpp" and own_header.exists():
        if not includes or includes[0][1] != own_header.relative_to(root).as_posix():
            yield f"{name}: its own header isn't the first include"
    for bracket, included in includes:
        if bracket == "<":
            if side == "core" and not STANDARD_HEADER.match(included):
                yield f"{name}: portable, but includes <{included}>"
            continue
        if included in GENERATED:
            continue
        if not (root / included).exists():
            yield f'{name}: "{included}" is not named from the root of the repository'
            continue
        target = included.split("/")[0]
        if target != folder and target not in MAY_INCLUDE[folder]:
            yield f"{name}: {folder} may not include {target} ({included})"
        if target == "platform" and side == "core":
            yield f"{name}: portable, but includes {included}"


def portable_includes_windows(root, sides):
    """A portable file that includes a Windows file of its own folder is no longer portable."""
    for path, side in sides.items():
        if side != "core":
            continue
        for bracket, included in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if bracket == '"' and sides.get(root / included) == "windows":
                yield f"{path.relative_to(root)}: portable, but includes {included} of the Windows side"


def check(root, list_file):
    sides = {}
    problems = []
    for line in list_file.read_text(encoding="utf-8").splitlines():
        if not line:
            continue
        side, path = line.split(" ", 1)
        if Path(path) in sides:
            problems.append(f"{path}: in two libraries")
        sides[Path(path)] = side
        if side == "posix" and not path.endswith("_posix.cpp"):
            problems.append(f"{path}: only the twin of a Windows file is for POSIX alone")
    for path, side in sides.items():
        problems += problems_of_file(root, path, side)
    problems += portable_includes_windows(root, sides)
    for folder in MAY_INCLUDE:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in CODE and path not in sides:
                problems.append(f"{path.relative_to(root)}: in no library")
    if not sides:
        problems.append("no files are listed")
    return problems


if __name__ == "__main__":
    found = check(Path(sys.argv[1]).resolve(), Path(sys.argv[2]))
    for problem in found:
        print(problem)
    sys.exit(1 if found else 0)
