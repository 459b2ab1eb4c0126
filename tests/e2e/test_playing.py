"""Playing, pausing, seeking and stepping through frames, and the sound."""
import pytest
from window import LOGGED, SEEKING, VOLUME_CHANGE


def test_space_pauses_and_plays_on(playing):
    playing.pause()
    playing.keys("SPACE")
    playing.wait_until_playing()


def test_a_click_on_the_video_pauses(playing):
    playing.click_video()
    assert playing.wait_until_still() < 11


def test_keys_seek_to_the_frame_that_is_asked_for(paused):
    assert paused.seek("RIGHT") == (5, 5)
    assert paused.seek("RIGHT") == (10, 10)
    assert paused.seek("LEFT") == (5, 5)
    frame, target = paused.seek("END")
    assert target == 12
    assert frame == pytest.approx(12 - 1 / 30, abs=1e-3)
    assert paused.seek("HOME") == (0, 0)
    assert paused.seek("LEFT") == (0, 0)


def test_frame_steps_show_one_frame_after_the_other(paused):
    for number in range(1, 8):
        frame, _ = paused.seek("PERIOD")
        assert frame == pytest.approx(number / 30, abs=1e-3)
    for number in range(6, 0, -1):
        frame, _ = paused.seek("COMMA")
        assert frame == pytest.approx(number / 30, abs=1e-3)


@pytest.mark.parametrize("name, rate", [("25", 25), ("2997", 30000 / 1001), ("60", 60)])
def test_frame_steps_find_frames_of_every_rate(play, name, rate):
    window = play(f"numbered-{name}-30-3", environment=LOGGED)
    window.seek("PERIOD")  # a frame offered just before may land it, and the right one follows
    first = round(window.wait_until_still() * rate)
    for number in range(first + 1, first + 7):
        assert window.seek("PERIOD")[0] == pytest.approx(number / rate, abs=1e-3)
    for number in range(first + 5, first - 1, -1):
        assert window.seek("COMMA")[0] == pytest.approx(number / rate, abs=1e-3)


def test_a_frame_step_pauses(playing):
    playing.keys("PERIOD")
    assert playing.wait_until_still() < 11


def test_a_frame_step_while_playing_goes_on_from_the_picture_on_screen(play):
    window = play("numbered-60-30-0", environment=LOGGED)
    for _ in range(5):
        window.wait_until_playing()
        before = len(window.presents())
        landed, _ = window.seek("PERIOD")
        lines = window.presents()
        last = next(i for i, line in enumerate(lines) if i >= before and line["owner"] == "frozen") - 1
        assert landed > float(lines[last]["tick"])
        assert lines[last]["owner"] == "engine"
        window.wait_until_still()
        window.keys("HOME", "SPACE")


def test_a_seek_while_playing_plays_on(playing):
    frame, target = playing.seek("RIGHT")
    assert abs(frame - target) <= 1.25 / 30
    playing.wait_until_playing()


def test_play_at_the_end_starts_again(paused):
    paused.seek("END")
    before = len(paused.presents())
    paused.keys("SPACE")
    _, target = paused.wait_for_landing(before)
    assert target == 0
    paused.wait_until_playing()


def test_it_pauses_at_the_end(playing):
    playing.seek("RIGHT")
    playing.seek("RIGHT")
    assert playing.play_to(12) > 11.9
    assert playing.seek("HOME") == (0, 0)
    assert playing.wait_until_still() == 0


def test_the_end_key_while_playing_pauses_at_the_last_frame(playing):
    before = len(playing.presents())
    frame, target = playing.seek("END")
    assert target == 12
    assert frame == pytest.approx(12 - 1 / 30, abs=1e-3)
    assert playing.wait_until_still() == frame
    assert len(playing.landings(before)) == 1
    seeks = playing.engine_events(SEEKING)
    playing.keys("SPACE")  # would only pause what plays
    playing.wait_for(lambda: playing.engine_events(SEEKING) > seeks, "the beginning")


@pytest.mark.parametrize("key, place", [("HOME", 0), ("LEFT", 7)])
def test_a_seek_back_from_the_end_that_was_played_to_stays_still(playing, key, place):
    playing.seek("END")
    playing.wait_until_still()
    assert playing.seek(key) == (place, place)
    assert playing.wait_until_still() == place


@pytest.mark.parametrize("key", ["UP", "DOWN", "M"])
def test_keys_change_the_sound(paused, key):
    if key == "UP":  # from a volume that isn't the highest
        before = paused.engine_events(VOLUME_CHANGE)
        paused.keys("DOWN", "DOWN")  # each tells the engine the volume, and whether it is muted
        paused.wait_for(lambda: paused.engine_events(VOLUME_CHANGE) == before + 4, "the engine's answers")
    before = paused.engine_events(VOLUME_CHANGE)
    paused.keys(key)
    paused.wait_for(lambda: paused.engine_events(VOLUME_CHANGE) > before, "the engine's answer")


def test_a_recording_without_sound_plays(play):
    window = play("video-only")
    window.wait_for_text("Playing")
