#!/usr/bin/env python3
"""make_media.py FOLDER [NAME...]: the sample recordings of the tests, made by ffmpeg. What is there and
made by the same recipe is left alone. Prints nothing unless something is made."""
import hashlib
import os
import subprocess
import sys
from pathlib import Path

SECONDS = 12


def picture(rate=30, size="320x180", seconds=SECONDS):
    return f"-f lavfi -i testsrc2=size={size}:rate={rate}:duration={seconds}"


def tone(frequency=440, rate=48000, seconds=SECONDS):
    return f"-f lavfi -i sine=frequency={frequency}:sample_rate={rate}:duration={seconds}"


def h264(keyint=30, bframes=2, more=""):
    params = f"keyint={keyint}:min-keyint={keyint}:scenecut=0:bframes={bframes}:b-adapt=0{more}"
    return f"-c:v libx264 -preset veryfast -pix_fmt yuv420p -threads 2 -x264-params {params}"


AAC = "-c:a aac -b:a 96k"
STEREO = f"{AAC} -ac 2"

# What ffmpeg is told, but for the output's name.
RECIPES = {
    "closed": f"{picture()} {tone()} {h264()} {STEREO}",
    "audio-first": f"{picture()} {tone()} -map 1 -map 0 {h264()} {STEREO}",
    "open": f"{picture()} {tone()} {h264(more=':open-gop=1')} {STEREO}",
    "no-b-frames": f"{picture()} {tone()} {h264(bframes=0)} {STEREO}",
    "pyramid": f"{picture()} {tone()} {h264(keyint=48, bframes=5, more=':b-pyramid=normal')} {STEREO}",
    # Every third picture is left out in one second of two, as screen recorders do.
    "variable-rate": f"{picture(rate=60)} {tone()} -vf select='lt(mod(t\\,2)\\,1)+not(mod(n\\,3))' "
                     f"-fps_mode vfr {h264(keyint=40)} {STEREO}",
    "audio-late": f"{picture()} -itsoffset 2.5 {tone(seconds=SECONDS - 3)} {h264()} {STEREO}",
    "audio-short": f"{picture()} {tone(seconds=5)} {h264()} {STEREO}",
    "video-only": f"{picture()} {h264()}",
    "two-audio": f"{picture()} {tone()} {tone(880)} -map 0 -map 1 -map 2 {h264()} {STEREO}",
    "mono": f"{picture()} {tone(rate=44100)} {h264()} {AAC} -ac 1",
    "fragmented": f"{picture()} {tone()} {h264()} {STEREO} -movflags +frag_keyframe+empty_moov+default_base_moof",
    "tables-first": f"{picture()} {tone()} {h264()} {STEREO} -movflags +faststart",
    "audio-only": f"{tone()} {STEREO}",
    "one-keyframe": f"{picture()} {tone()} {h264(keyint=1000)} {STEREO}",
    # Large enough to fill the small disk and to be cancelled half-way.
    "large": f"{picture(rate=60, size='1280x720', seconds=40)} {tone(seconds=40)} "
             f"-c:v libx264 -preset ultrafast -qp 12 -g 60 -pix_fmt yuv420p {STEREO}",
}


def broken_files(folder):
    (folder / "text.mp4").write_text("this is no video\n" * 100, encoding="utf-8")
    (folder / "empty.mp4").write_bytes(b"")
    whole = (folder / "closed.mp4").read_bytes()
    # The sample tables stand at the end: without them nothing can be read.
    (folder / "truncated.mp4").write_bytes(whole[: len(whole) // 2])
    # Here they stand in front: the file opens, and ends in the middle of its pictures.
    tables_first = (folder / "tables-first.mp4").read_bytes()
    (folder / "truncated-data.mp4").write_bytes(tables_first[: len(tables_first) // 2])


def make(folder, name):
    recipe = RECIPES[name]
    target, stamp = folder / f"{name}.mp4", folder / f"{name}.recipe"
    if target.exists() and stamp.exists() and stamp.read_text(encoding="utf-8") == recipe:
        return target
    print(f"making {target.name}", flush=True)
    part = folder / f"{name}.part.mp4"
    subprocess.run(["ffmpeg", "-v", "error", "-y", *recipe.split(), str(part)], check=True,
                   stdin=subprocess.DEVNULL)
    os.replace(part, target)
    stamp.write_text(recipe, encoding="utf-8")
    return target


def make_all(folder, names=tuple(RECIPES)):
    folder.mkdir(parents=True, exist_ok=True)
    for name in names:
        make(folder, name)
    if set(RECIPES) <= set(names):
        broken_files(folder)


def digest(path):
    return hashlib.md5(Path(path).read_bytes()).hexdigest()


if __name__ == "__main__":
    make_all(Path(sys.argv[1]), sys.argv[2:] or tuple(RECIPES))
