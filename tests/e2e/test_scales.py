"""The program started at another scale of the system's, and started there again."""
import struct
import subprocess

import pytest
from places import RUN
from user_registry import NUMBER, put_value, rect_of, settings
from window import LOGGED, size_of

DESKTOP = "Control Panel\\Desktop"
SCREEN = 1920, 1080


@pytest.fixture(params=[120, 144, 192])
def scale(request, own_system):
    """The system's scale is read when its first program starts."""

    def set_scale(dpi):
        put_value(DESKTOP, "LogPixels", NUMBER, struct.pack("<I", dpi))
        subprocess.run([RUN, "wineserver", "-k"], check=True, timeout=60)

    try:
        set_scale(request.param)
        yield request.param
    finally:
        set_scale(96)


def test_the_window_comes_back_where_it_was_at_any_scale(scale, start):
    window = start()
    left, top, right, bottom = window.place()
    wanted = [min(most, length * scale // 96) for most, length in zip(SCREEN, (1320, 820))]
    assert [left, top] == [(most - length) // 2 for most, length in zip(SCREEN, wanted)]
    size = tuple(max(length, least * scale // 96) for length, least in zip(wanted, (820, 640)))
    assert (right - left, bottom - top) == size
    window.ask(f"size {size[0] - 60} {size[1] - 20}")
    window.wait_for(lambda: size_of(window.place()) != size, "the size")
    place = window.place()
    assert window.close() == 0
    assert rect_of(settings()["", "WindowPlacement"]) == place
    assert start(environment={**LOGGED, "DRIVE_WINDOW_KEEP": "1"}).place() == place
