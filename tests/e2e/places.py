"""Where the programs, the sources and the rig are."""
import os
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("VELKANTRIX_BUILD", ROOT / "build" / "windows-release"))
RUN = os.environ.get("VELKANTRIX_RUN", str(ROOT / "tools" / "rig" / "run"))


def windows_path(path):
    """A path of this machine as a Windows program sees it."""
    return "Z:" + str(path).replace("/", "\\")
