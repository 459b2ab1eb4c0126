"""What the program remembers from run to run, and what it writes into the user's registry."""
import math
import os
import re
import shutil

import pytest
from places import ROOT, windows_path
from user_registry import (BINARY, NUMBER, TEXT, TEXTS, delete, file_key, number, placement, put, put_value, rect_of,
                           seconds, settings, text, texts, texts_of, user_registry, values)
from window import HEIGHT, LOGGED, OK, PROGRAM, UNSAVED_AT_THE_END, WIDTH, size_of

LONG = "VELKANTRIX_LONG" in os.environ
KEEP = {**LOGGED, "DRIVE_WINDOW_KEEP": "1"}
FILETIME_OF_1970 = 116444736000000000
EXTENSIONS = [".mp4", ".mkv", ".mov", ".avi", ".webm", ".m4v", ".ts", ".mts"]
MUTE_NAME = "Unmute"


def key_of(path):
    facts = os.stat(path)
    return file_key(windows_path(path), facts.st_size, facts.st_mtime_ns // 100 + FILETIME_OF_1970)


@pytest.fixture
def video(media, tmp_path):
    """A recording of the test's own, whose name needs care."""
    path = tmp_path / "MÜLLER & Söhne 影片.mp4"
    shutil.copy(media / "closed.mp4", path)
    return path


@pytest.fixture
def watch(start):
    """Opens a recording and waits for its picture; `again` is with what was remembered."""

    def watch_one(path, again=True):
        window = start(windows_path(path), environment=KEEP if again else LOGGED)
        window.wait_for_title(path.name)
        return window

    return watch_one


def at_five_seconds(window):
    window.pause()
    window.seek("HOME")
    assert window.seek("RIGHT") == (5, 5)
    assert window.wait_until_still() == 5


def test_a_recording_goes_on_where_it_was_left(watch, video):
    window = watch(video, again=False)
    at_five_seconds(window)
    assert window.close() == 0
    assert settings()["\\Playheads", key_of(video)] == seconds(5)
    window = watch(video)
    window.wait_for_text("Resumed at 00:05.000")
    window.wait_until_playing()
    seen = window.presents()
    landed = next(i for i, line in enumerate(seen) if line["owner"] == "frozen")
    ticks = [float(line["tick"]) for line in seen[landed:]]
    assert min(tick for tick in ticks if tick >= 0) >= 5  # one that is only drawn again has none


def test_it_goes_on_where_it_was_left_for_another_recording(watch, video, media):
    window = watch(video, again=False)
    at_five_seconds(window)
    window.choose(media / "mono.mp4")
    window.wait_for_title("mono.mp4")
    assert settings()["\\Playheads", key_of(video)] == seconds(5)
    window.forget()
    window.choose(video)
    window.wait_for_title(video.name)
    window.wait_for_text("Resumed at 00:05.000")


def test_a_recording_that_was_changed_begins_at_its_start(watch, video):
    window = watch(video, again=False)
    at_five_seconds(window)
    assert window.close() == 0
    os.utime(video, (1_000_000_000, 1_000_000_000))
    window = watch(video)
    window.wait_for_text("Playing")
    assert not any("Resumed" in drawn for drawn in window.drawn())


@pytest.mark.parametrize("stored", [seconds(math.nan), seconds(math.inf), seconds(-4), seconds(0.05), seconds(1e300),
                                    seconds(12), (BINARY, b"\0" * 7), (BINARY, b""), (TEXT, seconds(5)[1])])
def test_a_playhead_that_makes_no_sense_is_none(watch, video, stored):
    watch(video, again=False).end()
    put(key_of(video), *stored, key="\\Playheads")
    window = watch(video)
    window.wait_for_text("Playing")
    assert not any("Resumed" in drawn for drawn in window.drawn())


def test_the_window_comes_back_where_it_was(start):
    window = start()
    window.ask("size 1000 700")
    window.wait_for(lambda: size_of(window.place()) == (1000, 700), "the size")
    place = window.place()
    assert window.close() == 0
    assert rect_of(settings()["", "WindowPlacement"]) == place
    assert start(environment=KEEP).place() == place


def test_a_maximised_window_comes_back_maximised(start):
    window = start()
    place = window.place()
    window.ask("maximise")
    window.wait_for(lambda: window.state()["zoomed"], "the window to be maximised")
    assert window.close() == 0
    window = start(environment=KEEP)
    assert window.state()["zoomed"]
    window.ask("restore")
    window.wait_for_place(place)


def test_a_minimised_window_comes_back_as_a_normal_one(start):
    window = start()
    place = window.place()
    window.ask("minimise")
    window.wait_for(lambda: window.state()["iconic"], "the window to be minimised")
    assert window.close() == 0
    window = start(environment=KEEP)
    assert not window.state()["iconic"]
    window.wait_for_place(place)


def test_a_window_left_in_fullscreen_comes_back_as_before(play, start):
    window = play()
    place = window.place()
    window.keys("F11")
    window.wait_for_fullscreen()
    assert window.close() == 0
    assert rect_of(settings()["", "WindowPlacement"]) == place
    assert start(environment=KEEP).place() == place


NO_PLACEMENTS = [(TEXT, placement([50, 60, 1050, 760])[1]), (BINARY, b"\x2c" * 44), (BINARY, b""),
                 (BINARY, placement([50, 60, 1050, 760])[1][:43]), placement([9, 9, 9, 9]),
                 placement([1050, 760, 50, 60]), placement([-2 ** 31, -2 ** 31, 2 ** 31 - 1, 2 ** 31 - 1])]


@pytest.mark.parametrize("stored", NO_PLACEMENTS)
def test_a_placement_that_makes_no_sense_is_none(start, stored):
    window = start()
    place = window.place()
    window.end()
    put("WindowPlacement", *stored)
    assert start(environment=KEEP).place() == place


@pytest.mark.parametrize("stored", NO_PLACEMENTS if LONG else NO_PLACEMENTS[::3])
def test_a_place_of_a_recording_that_makes_no_sense_is_none(watch, video, stored):
    window = watch(video, again=False)
    place = window.place()
    window.end()
    put(key_of(video), *stored, key="\\Geometry")
    assert watch(video).place() == place


AWAY = [[90000, 90000, 91000, 91000], [-91000, -91000, -90000, -90000],
        [2 ** 31 - 1000, 0, 2 ** 31 - 1, 900], [-20000, -20000, 1, 1],
        [1919, 1079, 2919, 1779], [100, -690, 1100, 10]]


@pytest.mark.parametrize("rect", AWAY)
def test_a_window_off_the_screen_comes_back_to_it(start, rect):
    start().end()
    put("WindowPlacement", *placement(rect))
    window = start(environment=KEEP)
    left, top, right, bottom = window.place()
    assert 0 <= left and right <= WIDTH and 0 <= top and bottom <= HEIGHT
    window.wait_for_text("Cut the wait.")


@pytest.mark.parametrize("rect", AWAY if LONG else AWAY[::3])
def test_a_recording_s_place_off_the_screen_is_moved_to_it(watch, video, rect):
    watch(video, again=False).end()
    put(key_of(video), *placement(rect), key="\\Geometry")
    left, top, right, bottom = watch(video).place()
    assert 0 <= left and right <= WIDTH and 0 <= top and bottom <= HEIGHT


@pytest.mark.parametrize("show", [0, 2, 6, 7, 11, 99])
def test_no_stored_placement_hides_the_window(start, show):
    start().end()
    put("WindowPlacement", *placement([50, 60, 1050, 760], show))
    window = start(environment=KEEP)
    assert not window.state()["iconic"]
    window.wait_for_place([50, 60, 1050, 760])


def test_each_recording_has_its_own_place_and_zoom(watch, video, media):
    window = watch(video, again=False)
    window.pause()
    window.keys("Z")
    window.wait_for(lambda: size_of(window.video()["rect"])[0] >= 640, "the video twice as large")
    window.ask("size 1100 900")
    window.wait_for(lambda: size_of(window.place()) == (1100, 900), "the size")
    place = window.place()
    window.choose(media / "mono.mp4")
    window.wait_for_title("mono.mp4")
    assert window.place() != place
    assert window.ask("access")["children"][13]["name"] == "Zoom to 2×"
    assert window.close() == 0
    stored = settings()
    assert stored["\\Zoom", key_of(video)] == number(1)
    assert stored["\\Zoom", key_of(media / "mono.mp4")] == number(0)
    assert rect_of(stored["\\Geometry", key_of(video)]) == place
    window = watch(video)
    assert window.place() == place
    assert window.ask("access")["children"][13]["name"] == "Actual size (1×)"


@pytest.mark.parametrize("stored", [(BINARY, b"\1\0\0\0"), (TEXT, text("1")[1])])
def test_a_zoom_of_another_type_is_none(watch, video, stored):
    watch(video, again=False).end()
    put(key_of(video), *stored, key="\\Zoom")
    assert watch(video).ask("access")["children"][13]["name"] == "Zoom to 2×"


def test_the_volume_comes_back(watch, video):
    window = watch(video, again=False)
    window.keys(*["DOWN"] * 13, "M")
    window.wait_for(lambda: window.ask("access")["children"][6]["name"] == MUTE_NAME, "the sound to be muted")
    assert window.ask("access")["children"][7]["value"] == "35"
    assert window.close() == 0
    assert settings()["", "Volume"] == number(35) and settings()["", "Muted"] == number(1)
    children = watch(video).ask("access")["children"]
    assert children[7]["value"] == "35" and children[6]["name"] == MUTE_NAME


@pytest.mark.parametrize("stored,percent", [(number(250), "100"), (number(0xFFFFFFFF), "0"), (number(0), "0"),
                                            ((TEXT, text("20")[1]), "100"), ((NUMBER, b"\x14"), "100")])
def test_a_volume_that_makes_no_sense_is_its_range_s_end_or_none(watch, video, stored, percent):
    watch(video, again=False).end()
    put("Volume", *stored)
    put("Muted", TEXT, text("1")[1])
    children = watch(video).ask("access")["children"]
    assert children[7]["value"] == percent and children[6]["name"] == "Mute"


def open_recent_menu(window):
    window.open_menu("F")
    window.keys("R")


def test_the_recent_videos_come_back(watch, video, media):
    window = watch(video, again=False)
    window.choose(media / "mono.mp4")
    window.wait_for_title("mono.mp4")
    assert window.close() == 0
    names = [windows_path(media / "mono.mp4"), windows_path(video)]
    assert texts_of(settings()["", "RecentFiles"]) == names
    window = watch(media / "mono.mp4")
    open_recent_menu(window)
    window.wait_for(lambda: any("Söhne 影片.mp4" in item for item in window.menu_items()), "the other video")
    window.keys("2")
    window.wait_for_title(video.name)
    assert texts_of(settings()["", "RecentFiles"]) == names[::-1]


def test_of_eleven_recent_videos_ten_are_kept(start, media, tmp_path):
    start().end()
    names = [windows_path(tmp_path / f"{n}.mp4") for n in range(11)]
    put("RecentFiles", *texts(names))
    window = start(environment=KEEP)
    open_recent_menu(window)
    window.wait_for(lambda: sum(".mp4" in item for item in window.menu_items()) == 10, "ten videos")
    window.keys("ESC", "ESC", "ESC")
    window.wait_for_no_menu()
    window.choose(media / "mono.mp4")
    window.wait_for_title("mono.mp4")
    assert texts_of(settings()["", "RecentFiles"]) == [windows_path(media / "mono.mp4"), *names[:9]]


def test_without_recent_videos_the_menu_says_so(start):
    window = start()
    open_recent_menu(window)
    window.wait_for_item("(no recent videos)", enabled=False)


def test_a_recent_video_that_is_gone_leaves_the_list(start, media, tmp_path):
    start().end()
    gone = windows_path(tmp_path / "gone & lost.mp4")
    put("RecentFiles", *texts([gone, windows_path(media / "mono.mp4")]))
    window = start(environment=KEEP)
    open_recent_menu(window)
    window.wait_for(lambda: any("gone && lost.mp4" in item for item in window.menu_items()), "the video")
    window.keys("1")
    box = window.wait_for_message()
    assert box["texts"] == [gone + "\n\nThis file no longer exists."]
    window.answer(OK)
    window.wait_for(lambda: texts_of(settings()["", "RecentFiles"]) == [windows_path(media / "mono.mp4")],
                    "the list without it")


@pytest.mark.parametrize("stored", [(TEXT, text("C:\\a.mp4")[1]), (TEXTS, b""), (TEXTS, b"a"), (TEXTS, b"\0\0"),
                                    (TEXTS, b"\0\0a\0\0\0\0\0")])
def test_recent_videos_that_make_no_sense_are_none(start, stored):
    start().end()
    put("RecentFiles", *stored)
    window = start(environment=KEEP)
    open_recent_menu(window)
    window.wait_for_item("(no recent videos)", enabled=False)


def test_the_list_can_be_cleared(watch, video):
    window = watch(video, again=False)
    open_recent_menu(window)
    window.wait_for_item("&Clear list")
    window.keys("C")
    window.wait_for_no_menu()
    window.settle()
    assert texts_of(settings()["", "RecentFiles"]) == []


def expected_associations():
    program = windows_path(PROGRAM)
    command = text(f'"{program}" "%1"')
    classes, capabilities = "Software\\Classes\\", "Software\\Velkantrix\\Capabilities"
    expected = {
        (classes + "Velkantrix.Video", ""): text("Video file"),
        (classes + "Velkantrix.Video\\DefaultIcon", ""): text(f'"{program}",0'),
        (classes + "Velkantrix.Video\\shell\\open\\command", ""): command,
        (classes + "Applications\\Velkantrix.exe", "FriendlyAppName"): text("Velkantrix"),
        (classes + "Applications\\Velkantrix.exe\\shell\\open\\command", ""): command,
        (capabilities, "ApplicationName"): text("Velkantrix"),
        (capabilities, "ApplicationDescription"): text("Fast native video cutter and clip exporter"),
        ("Software\\RegisteredApplications", "Velkantrix"): text(capabilities),
    }
    for extension in EXTENSIONS:
        expected[classes + extension + "\\OpenWithProgids", "Velkantrix.Video"] = text("")
        expected[capabilities + "\\FileAssociations", extension] = text("Velkantrix.Video")
    return expected


def forget_all(extensions):
    """What the program has written in earlier runs."""
    for key in ("Software\\Velkantrix", "Software\\Classes\\Velkantrix.Video",
                "Software\\Classes\\Applications\\Velkantrix.exe", *extensions):
        delete(key)
    delete("Software\\RegisteredApplications", "Velkantrix")


def ancestors(keys):
    """Of all keys, themselves included."""
    return {key[:end] for key in keys for end in [*(match.start() for match in re.finditer(r"\\", key)), len(key)]}


def test_a_run_writes_what_it_remembers_and_nothing_else(start, watch, video):
    extensions = [f"Software\\Classes\\{extension}" for extension in EXTENSIONS]
    forget_all(extensions)
    put_value(extensions[0], "", *text("Other.Video"))  # the user's choice
    before = user_registry()
    window = watch(video, again=True)
    at_five_seconds(window)
    place = window.place()
    assert window.close() == 0
    after = user_registry()
    forget_all(extensions)
    key = key_of(video)
    root = "Software\\Velkantrix"
    new = {row: value for row, value in after.items() if before.get(row) != value}
    gone = before.keys() - after.keys()
    # The system's own list of recent documents, which the program adds to.
    recent = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RecentDocs"
    own = {row: value for row, value in values(new).items() if row[0] != recent}
    geometry = own.pop((root + "\\Geometry", key))
    assert rect_of(geometry) == place and own.pop((root, "WindowPlacement")) == geometry
    expected = {
        **expected_associations(),
        (root + "\\Playheads", key): seconds(5),
        (root + "\\Zoom", key): number(0),
        (root, "Volume"): number(100),
        (root, "Muted"): number(0),
        (root, "RecentFiles"): texts([windows_path(video)]),
    }
    assert own == expected and not gone
    written = {row[0] for row in expected} | {root + "\\Geometry", recent}
    assert {row[0] for row in new if row[1] is None} <= ancestors(written)


def test_about_says_which_version_this_is(start):
    window = start()
    window.open_menu("H")
    window.keys("A")
    box = window.wait_for_box()
    assert box["title"] == "About Velkantrix"
    version = re.search(r"velkantrix VERSION ([\d.]+)", (ROOT / "CMakeLists.txt").read_text())[1]
    assert box["texts"] == [f"Velkantrix  {version}\n\nA fast native video cutter. One executable — no installer, no "
                            "dependencies, no network.\n\nQuorndelph\nhttps://quorndelph.example"]
    assert box["buttons"] == [OK] and not window.state()["enabled"]
    window.answer(OK)
    assert window.close() == 0


def test_what_was_edited_is_asked_about_before_it_is_remembered(watch, video):
    window = watch(video, again=False)
    at_five_seconds(window)
    window.keys("S")
    window.wait_for_text("Split created")
    window.post(0x10)
    assert window.wait_for_message()["texts"] == [UNSAVED_AT_THE_END]
    assert ("\\Playheads", key_of(video)) not in settings()
