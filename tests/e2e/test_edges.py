"""Recordings whose pictures begin later than their sound, or end earlier."""
import pytest
from window import LOGGED


@pytest.mark.parametrize("name, first", [("fragmented", 2 / 30), ("video-late", 1.5)])
def test_a_picture_that_begins_late_is_shown_and_found_again(play, name, first):
    window = play(name, environment=LOGGED)
    window.wait_until_playing()
    assert window.presents()[0]["owner"] == "engine"
    window.pause()
    frame, target = window.seek("HOME")
    assert target == 0
    assert frame == pytest.approx(first, abs=1e-3)
    window.keys("SPACE")
    window.wait_until_playing()


def test_sound_that_is_a_little_longer_does_not_freeze_the_end(play):
    window = play("sound-longer", environment=LOGGED)
    window.pause()
    frame, target = window.seek("END")
    assert target > 12
    assert frame == pytest.approx(12 - 1 / 30, abs=1e-3)
    window.seek("COMMA")  # from behind the last frame to it
    frame, _ = window.seek("COMMA")
    assert frame == pytest.approx(12 - 2 / 30, abs=1e-3)
