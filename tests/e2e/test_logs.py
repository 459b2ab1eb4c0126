"""What the program tells of itself: the logs, and the line about what it uses."""
import re

import pytest
from window import EVENT, LOGGED, PRESENT, PROGRAM

RESOURCES = re.compile(r"RAM \d+ MB  ·  CPU 0%  ·  DISK ([\d.]+) (KB|MB)  ·  0 DEPS  ·  0 NET")


@pytest.mark.parametrize("value", [None, "0", "12345678"])
def test_logs_are_written_only_when_they_are_asked_for(play, tmp_path, value):
    window = play(environment={} if value is None else {name: value for name in LOGGED})
    assert window.close() == 0
    assert not (tmp_path / "engine.log").exists()
    assert not (tmp_path / "present.log").exists()


def test_the_engines_log_alone(play, tmp_path):
    window = play(environment={"VELKANTRIX_ENGLOG": "1"})
    assert window.close() == 0
    lines = (tmp_path / "engine.log").read_text().splitlines()
    assert any(" ev=10 " in line for line in lines)
    assert not (tmp_path / "present.log").exists()


def test_logs_begin_anew_at_zero_and_each_line_has_its_form(play, tmp_path):
    for name in ("engine.log", "present.log"):
        (tmp_path / name).write_text("of another run\n" * 100_000)
    window = play(environment=LOGGED)
    window.pause()
    window.seek("RIGHT")
    window.keys("SPACE")
    window.wait_until_playing()
    assert window.close() == 0
    for name, form in (("engine.log", EVENT), ("present.log", PRESENT)):
        lines = (tmp_path / name).read_text().splitlines()
        assert len(lines) > 10
        assert [line for line in lines if not form.match(line)] == []
        assert float(form.match(lines[0])["seconds"]) == 0
        times = [float(form.match(line)["seconds"]) for line in lines]
        assert times == sorted(times)


def test_the_first_line_tells_the_programs_size_and_no_load(start):
    window = start()
    window.wait_for_text("0 NET")
    first = next(text for text in window.drawn() if "RAM" in text)
    told = RESOURCES.fullmatch(first)
    assert told, first
    size = PROGRAM.stat().st_size / 1024
    assert told[1] == (f"{size:.0f}" if told[2] == "KB" else f"{size / 1024:.1f}")
    assert told[2] == ("KB" if size < 1024 else "MB")


def test_the_line_is_drawn_again_each_second(start):
    window = start()
    window.wait_for_text("0 NET")
    window.forget()
    window.wait_for(lambda: len([text for text in window.drawn() if "RAM" in text]) >= 3, "the line, three times")
