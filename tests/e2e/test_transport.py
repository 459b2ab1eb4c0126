"""The transport bar: every control by the mouse, what their tips say, and what a screen reader is told."""
import pytest
from window import VOLUME_CHANGE, WM_DPICHANGED, pixel, screen, size_of

BACK, PLAY, FORWARD, SPLIT, REMOVE, MUTE, VOLUME, PREVIOUS, NEXT, DARKER, EXPOSURE, BRIGHTER, ZOOM = range(1, 14)
TIPS = ["Back 5 seconds   (←)", "Play   (Space)", "Forward 5 seconds   (→)", "Split at playhead   (S)",
        "Remove selected clip   (Del)", "Mute   (M)", "Volume   (↑ ↓)", "Step back one frame   (,)",
        "Step forward one frame   (.)", "Darken exposure   ([)", "Auto-fix exposure", "Brighten exposure   (])",
        "Zoom to 2×   (Z)"]
TOOLBAR, PUSH_BUTTON, SLIDER = 0x16, 0x2B, 0x33
UNAVAILABLE, INVISIBLE = 1, 0x8000
ACCENT, PRESSED, HOVERED, BAR = (226, 91, 69), (60, 55, 45), (44, 41, 33), (22, 21, 16)
FRAME = 1 / 30


@pytest.fixture
def wide(paused):
    """A window in which the bar has all of its controls."""
    paused.ask("size 1400 820")
    paused.wait_for(lambda: size_of(paused.transport()["rect"])[0] > 1180, "a wide bar")
    paused.wait_until_still()  # it is drawn anew for its size
    return paused


def controls(window):
    return window.ask("access")["children"]


def centre(window, control):
    left, top, right, bottom = controls(window)[control]["rect"]
    return (left + right) // 2, (top + bottom) // 2


def mouse(window, what, control):
    x, y = centre(window, control)
    window.ask(f"{what} {x} {y}")


def click(window, control):
    mouse(window, "click", control)


def slider_x(window, share):
    left, _, right, _ = controls(window)[VOLUME]["rect"]
    return round(left + 8 + (right - left - 16) * share)


def wait_for_name(window, control, name):
    window.wait_for(lambda: controls(window)[control]["name"] == name, f"the name {name}")


def seek_by(window, control):
    """Clicks it; the time of the frame that is landed on, and the time asked for."""
    before = len(window.presents())
    click(window, control)
    return window.wait_for_landing(before)


def test_the_controls_do_what_they_say(wide):
    assert seek_by(wide, FORWARD) == (5, 5)
    assert seek_by(wide, FORWARD) == (10, 10)
    assert seek_by(wide, BACK) == (5, 5)
    assert seek_by(wide, NEXT)[0] == pytest.approx(5 + FRAME, abs=0.002)
    assert seek_by(wide, PREVIOUS)[0] == pytest.approx(5, abs=0.002)

    assert controls(wide)[REMOVE]["state"] == UNAVAILABLE
    wide.forget()
    click(wide, SPLIT)
    wide.wait_for_text("Split created")
    assert controls(wide)[REMOVE]["state"] == 0
    wide.forget()
    click(wide, REMOVE)
    wide.wait_for_text("Clip removed — Ctrl+Z to undo")
    wide.forget()
    wide.settle()
    click(wide, REMOVE)  # the last one
    wide.settle()
    assert wide.info()[1] == 1

    wide.keys("HOME")
    click(wide, PLAY)
    wide.wait_until_playing()
    wait_for_name(wide, PLAY, "Pause")
    click(wide, PLAY)
    wide.wait_until_still()
    wait_for_name(wide, PLAY, "Play")


def test_the_sound_is_muted_and_heard_again(wide):
    before = wide.engine_events(VOLUME_CHANGE)
    click(wide, MUTE)
    wait_for_name(wide, MUTE, "Unmute")
    wide.wait_for(lambda: wide.engine_events(VOLUME_CHANGE) > before, "the engine to be muted")
    click(wide, MUTE)
    wait_for_name(wide, MUTE, "Mute")


def test_the_slider_follows_the_mouse(wide):
    assert controls(wide)[VOLUME]["value"] == "100"
    y = centre(wide, VOLUME)[1]
    wide.ask(f"press {slider_x(wide, 0.5)} {y}")
    wide.wait_for(lambda: controls(wide)[VOLUME]["value"] == "50", "half of the volume")
    wide.ask(f"move {slider_x(wide, 0.25)} {y - 200}")  # beside it, still dragged
    wide.wait_for(lambda: controls(wide)[VOLUME]["value"] in ("24", "25", "26"), "a quarter of the volume")
    wide.ask(f"move 0 {y}")
    wide.wait_for(lambda: controls(wide)[VOLUME]["value"] == "0", "no volume")
    wide.ask(f"release 0 {y}")
    wide.settle()
    wide.ask(f"move {slider_x(wide, 0.5)} {y}")
    wide.settle()
    assert controls(wide)[VOLUME]["value"] == "0"
    wide.keys("UP", "UP")
    wide.wait_for(lambda: controls(wide)[VOLUME]["value"] == "10", "two steps louder")


def test_the_exposure_is_set_and_taken_back(wide):
    for control, text in ((BRIGHTER, "Exposure +10%"), (DARKER, "Exposure reset"), (DARKER, "Exposure -10%")):
        wide.forget()
        click(wide, control)
        wide.wait_for_text(text)
    wait_for_name(wide, EXPOSURE, "Reset exposure")
    wide.forget()
    click(wide, EXPOSURE)
    wide.wait_for_text("Exposure reset")
    wait_for_name(wide, EXPOSURE, "Auto-fix exposure")


def test_the_exposure_is_found(play):
    window = play("dark")
    window.ask("size 1400 820")
    window.wait_for(lambda: size_of(window.transport()["rect"])[0] > 1180, "a wide bar")
    click(window, EXPOSURE)
    window.wait_for_text("Exposure +32%")
    wait_for_name(window, EXPOSURE, "Reset exposure")


def test_the_zoom_sizes_the_window(wide):
    click(wide, ZOOM)
    wait_for_name(wide, ZOOM, "Actual size (1×)")
    wide.wait_for(lambda: size_of(wide.video()["rect"])[0] >= 640, "the video twice as large")
    assert size_of(controls(wide)[VOLUME]["rect"]) == (110, 32)
    click(wide, ZOOM)
    wait_for_name(wide, ZOOM, "Zoom to 2×")


def test_pressed_here_and_released_there_is_nothing(wide):
    wide.forget()
    mouse(wide, "press", SPLIT)
    mouse(wide, "move", REMOVE)
    mouse(wide, "release", REMOVE)
    mouse(wide, "press", MUTE)
    left, top, _, _ = wide.video()["rect"]
    wide.ask(f"release {left + 5} {top + 5}")
    mouse(wide, "press", DARKER)
    mouse(wide, "release", BRIGHTER)
    wide.settle()
    assert "Split created" not in wide.drawn()
    assert not [text for text in wide.drawn() if text.startswith("Exposure")]
    assert controls(wide)[MUTE]["name"] == "Mute"
    assert wide.time_on_screen() == 0
    for x, y in ((left + 5, top + 5), (5, 5)):  # over the window, and beside it
        mouse(wide, "press", SPLIT)
        wide.ask(f"move {x} {y}")
        wide.settle()
        wide.ask(f"release {x} {y}")
        wide.forget()
        wide.keys("BRACKET6")  # the keyboard is the window's again
        wide.wait_for_text("Exposure +")


def test_each_control_says_what_it_is_and_its_key(wide):
    for control, tip in enumerate(TIPS, 1):
        left, top, _, _ = wide.video()["rect"]
        wide.ask(f"move {left + 5} {top + 5}")
        wide.forget()
        mouse(wide, "move", control)
        wide.wait_for_text(tip)


def test_hovered_and_pressed_controls_look_it(wide):
    left, top, _, _ = controls(wide)[FORWARD]["rect"]
    at = left + 4, top + 20

    def wait_for_ground(colour):
        wide.wait_for(lambda: pixel(screen(), *at) == colour, f"the ground {colour}")

    mouse(wide, "move", FORWARD)
    wait_for_ground(HOVERED)
    mouse(wide, "press", FORWARD)
    wait_for_ground(PRESSED)
    mouse(wide, "move", PLAY)
    wait_for_ground(BAR)
    mouse(wide, "release", PLAY)
    mouse(wide, "move", FORWARD)
    wait_for_ground(HOVERED)
    video = wide.video()["rect"]
    wide.ask(f"move {video[0] + 5} {video[1] + 5}")
    wait_for_ground(BAR)


def test_a_screen_reader_is_told_all(wide):
    bar, *children = controls(wide)
    assert bar["name"] == "Playback controls" and bar["role"] == TOOLBAR
    assert bar["rect"] == wide.transport()["rect"]
    assert bar["value"] is bar["shortcut"] is bar["action"] is None
    assert [child["name"] for child in children] == [tip.split("   ")[0] for tip in TIPS]
    assert [child["role"] for child in children] == [PUSH_BUTTON] * 6 + [SLIDER] + [PUSH_BUTTON] * 6
    assert [child["state"] for child in children] == [0] * 4 + [UNAVAILABLE] + [0] * 8
    assert [child["value"] for child in children] == [None] * 6 + ["100"] + [None] * 6
    assert [child["shortcut"] for child in children] == ["Left", "Space", "Right", "S", "Delete", "M", "Up, Down",
                                                         "Comma", "Period", "[", None, "]", "Z"]
    assert [child["action"] for child in children] == ["Press"] * 6 + [None] + ["Press"] * 6
    assert [child["hit"] for child in children] == list(range(1, 14))


def test_a_screen_reader_can_press_every_button(wide):
    def press(control):
        return wide.ask(f"access-press {control}")["result"]

    before = len(wide.presents())
    assert press(FORWARD) == 0
    assert wide.wait_for_landing(before) == (5, 5)
    wide.forget()
    assert press(SPLIT) == 0
    wide.wait_for_text("Split created")
    assert press(REMOVE) == 0
    wide.wait_for_text("Clip removed — Ctrl+Z to undo")
    wide.settle()
    assert press(REMOVE) == 1  # the last one
    for control, text in ((BRIGHTER, "Exposure +10%"), (EXPOSURE, "Exposure reset"), (DARKER, "Exposure -10%")):
        wide.forget()
        assert press(control) == 0
        wide.wait_for_text(text)
    assert press(MUTE) == 0
    wait_for_name(wide, MUTE, "Unmute")
    assert press(ZOOM) == 0
    wait_for_name(wide, ZOOM, "Actual size (1×)")
    for control in (BACK, NEXT, PREVIOUS):
        before = len(wide.presents())
        assert press(control) == 0
        wide.wait_for_landing(before)
    wide.keys("HOME")
    assert press(PLAY) == 0
    wide.wait_until_playing()
    assert press(VOLUME) & 0xFFFFFFFF == 0x80020003
    assert press(0) & 0xFFFFFFFF == 0x80020003
    assert press(14) & 0xFFFFFFFF == 0x80070057


def test_a_narrow_bar_has_no_exposure(paused):
    paused.ask("size 900 700")
    paused.wait_for(lambda: size_of(paused.transport()["rect"])[0] < 1180, "a narrow bar")
    paused.wait_until_still()
    children = controls(paused)
    for control in (DARKER, EXPOSURE, BRIGHTER):
        assert size_of(children[control]["rect"]) == (0, 0)
        assert children[control]["state"] == INVISIBLE
    before = len(paused.presents())
    click(paused, FORWARD)
    assert paused.wait_for_landing(before) == (5, 5)
    paused.forget()
    click(paused, SPLIT)
    paused.wait_for_text("Split created")
    mouse(paused, "move", SPLIT)
    paused.wait_for_text("Split at playhead   (S)")


@pytest.mark.parametrize("dpi", [96, 120, 144, 192])
def test_the_controls_are_where_they_are_drawn_at_any_scale(wide, dpi):
    wide.ask("size 1600 820")
    wide.wait_for(lambda: size_of(wide.place()) == (1600, 820), "the size")
    wide.post(WM_DPICHANGED, dpi << 16 | dpi)
    wide.wait_for(lambda: size_of(wide.transport()["rect"])[1] == round(62 * dpi / 96), "the scale")
    wide.wait_until_still()
    if dpi < 144:  # at which the bar is narrow
        click(wide, BRIGHTER)
        wide.wait_for_text("Exposure +10%")
        left, top, right, bottom = controls(wide)[EXPOSURE]["rect"]
        wide.ask(f"move {left} {top - 30}")

        def glows():
            seen = screen()
            return any(pixel(seen, x, y) == ACCENT for x in range(left, right) for y in range(top, bottom))

        wide.wait_for(glows, "the exposure's icon to glow")
    assert seek_by(wide, FORWARD) == (5, 5)
    click(wide, SPLIT)
    wide.wait_for_text("Split created")


def test_in_fullscreen_the_bar_stays_while_its_slider_is_dragged(paused):
    paused.keys("F11")
    paused.wait_for_fullscreen()
    x, y = slider_x(paused, 0.5), centre(paused, VOLUME)[1]
    paused.ask("move 500 500")
    paused.ask(f"move {x} {y}")
    paused.wait_for(lambda: paused.transport()["visible"], "the bar")
    paused.ask(f"press {x} {y}")
    paused.wait_for(lambda: controls(paused)[VOLUME]["value"] == "50", "half of the volume")
    with pytest.raises(AssertionError):
        paused.wait_for(lambda: not paused.transport()["visible"], "the bar to go", 4)
    paused.ask(f"release {x} {y}")
    paused.wait_for(lambda: not paused.transport()["visible"], "the bar to go")


def test_the_bar_appears_with_a_video_only(start, media):
    window = start()
    window.assert_is_empty()
    assert not window.transport()["visible"]
    window.choose(media / "closed.mp4")
    window.wait_for_picture()
    assert window.transport()["visible"]
