#!/usr/bin/env python3
"""make_media.py FOLDER [NAME...]: the sample recordings of the tests, made by ffmpeg. What is there and
made by the same recipe is left alone. Prints nothing unless something is made."""
import hashlib
import os
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
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

# Every picture carries its number n: the left half has the luma 32 + 12 (n mod 16), the right half
# 32 + 12 (n / 16), which survives coding and can be read from a screen. Up to 256 pictures.
def numbered(rate, keyint, bframes):
    luma = "if(lt(X\\,W/2)\\,32+12*mod(N\\,16)\\,32+12*floor(N/16))"
    return f"-f lavfi -i color=gray:size=640x360:rate={rate},format=yuv420p,geq=lum='{luma}':cb=128:cr=128 " \
           f"-frames:v 240 {h264(keyint=keyint, bframes=bframes)} -crf 14"


NUMBERED_RATES = (("25", "25"), ("2997", "30000/1001"), ("60", "60"))
NUMBERED = {f"numbered-{name}-{keyint}-{bframes}": numbered(rate, keyint, bframes)
            for name, rate in NUMBERED_RATES
            for keyint in (30, 250) for bframes in (0, 3)}
# More of them for scrubs: those of keyframes alone have no index; in fragments without an edit list the first picture
# isn't at 0. Unless there is time for all, a few.
MORE_NUMBERED = {f"numbered-{name}-{keyint}-{bframes}": numbered(rate, keyint, bframes)
                 for name, rate in NUMBERED_RATES
                 for keyint, counts in ((1, (0,)), (30, (1, 2, 4)), (250, (1, 2, 4))) for bframes in counts}
FRAGMENTS_FOR_SCRUBS = {
    f"{name}-fragmented-late": f"-i FOLDER/{name}.mp4 -c copy -movflags +frag_keyframe+empty_moov+default_base_moof"
    for name in (*NUMBERED, *MORE_NUMBERED)}
USUAL_FOR_SCRUBS = ("numbered-25-1-0", "numbered-2997-30-3-fragmented-late")
FOR_SCRUBS = {name: recipe for name, recipe in {**MORE_NUMBERED, **FRAGMENTS_FOR_SCRUBS}.items()
              if "VELKANTRIX_LONG" in os.environ or name in USUAL_FOR_SCRUBS}

# The same pictures, in a file of fragments whose edit list puts the first one at 0.
FRAGMENTED_NUMBERED = {f"{name}-fragmented": f"-i FOLDER/{name}.mp4 -c copy -movflags "
                                             "+frag_keyframe+delay_moov+default_base_moof" for name in NUMBERED}


def bursts(*windows, more=""):
    """Sound of one channel for each window of two seconds: a tone that is loud in it and soft elsewhere."""
    tones = "|".join(f"if(between(t\\,{begin}\\,{begin + 2})\\,0.8\\,0.05)*sin(2*PI*110*t)" for begin in windows)
    return f"-f lavfi -i aevalsrc=exprs={tones}:duration={SECONDS}{more}"


def plain_luma(luma, seconds=4):
    return f"-f lavfi -i color=gray:size=320x192:rate=30:duration={seconds},format=yuv420p," \
           f"geq=lum='{luma}':cb=128:cr=128 {h264()} -crf 8"


# White for one picture at each second, of 25 a second, and a click with it.
CLICKS = 22  # seconds
CLICK_TRACK = f"-f lavfi -i color=black:size=320x180:rate=25:duration={CLICKS},format=yuv420p," \
              "geq=lum='if(eq(mod(N\\,25)\\,0)\\,235\\,16)':cb=128:cr=128 " \
              f"-f lavfi -i aevalsrc=exprs=if(lt(mod(t\\,1)\\,0.01)\\,0.8\\,0)*sin(2*PI*1000*t):sample_rate=48000" \
              f":duration={CLICKS}"

# For re-encodes.
REENCODED = {
    "reencode-clicks": f"{CLICK_TRACK} {h264(keyint=40)} {STEREO}",
    "reencode-noise": f"{picture(size='128x72', seconds=4)} -f lavfi -i "
                      f"anoisesrc=sample_rate=48000:duration=4:amplitude=0.5:seed=1 {h264()} -c:a aac -b:a 320k -ac 2",
    "reencode-uneven": f"{picture(size='322x178', seconds=3)} {tone(seconds=3)} {h264()} {STEREO}",
    "reencode-720": f"{picture(size='1280x720', seconds=1.5)} {tone(seconds=1.5)} {h264()} {STEREO}",
    **{f"reencode-turned-{turn}": f"-display_rotation {turn} -i FOLDER/short.mp4 -c copy" for turn in (90, 180, 270)},
}

# What ffmpeg is told, but for the output's name. FOLDER is where the ones before lie.
RECIPES = {
    **NUMBERED,
    **FRAGMENTED_NUMBERED,
    **FOR_SCRUBS,
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
    "video-late": f"-itsoffset 1.5 {picture()} {tone()} {h264()} {STEREO}",
    "sound-longer": f"{picture()} {tone(seconds=SECONDS + 0.015)} {h264()} {STEREO}",
    "video-short": f"{picture(seconds=7)} {tone()} {h264()} {STEREO}",
    "video-only": f"{picture()} {h264()}",
    "portrait": f"{picture(size='180x320')} {tone()} {h264()} {STEREO}",
    "turned": "-display_rotation -90 -i FOLDER/closed.mp4 -c copy",
    "anamorphic": f"{picture(rate=25, size='720x576')} -vf setsar=16/15 {h264()}",
    "full-range": f"{picture()} -vf scale=out_range=full,setparams=range=pc:colorspace=bt709:color_primaries=bt709:"
                  "color_trc=bt709 -c:v libx264 -preset veryfast -pix_fmt yuvj420p -threads 2",
    "two-audio": f"{picture()} {tone()} {tone(880)} -map 0 -map 1 -map 2 {h264()} {STEREO}",
    "mono": f"{picture()} {tone(rate=44100)} {h264()} {AAC} -ac 1",
    "fragmented": f"{picture()} {tone()} {h264()} {STEREO} -movflags +frag_keyframe+empty_moov+default_base_moof",
    "fragmented-sound-short": f"{picture()} {tone(seconds=5)} {h264()} {STEREO} "
                              "-movflags +frag_keyframe+delay_moov+default_base_moof",
    "fragmented-video-short": f"{picture(seconds=7)} {tone()} {h264()} {STEREO} -frag_duration 100000 "
                              "-movflags +empty_moov+default_base_moof",
    # Fragments of half a second, so that some begin inside a group of pictures; and an edit list.
    "fragmented-halves": f"{picture()} {tone()} {h264(keyint=48, bframes=5, more=':b-pyramid=normal')} {STEREO} "
                         "-frag_duration 500000 -movflags +delay_moov+default_base_moof",
    "tables-first": f"{picture()} {tone()} {h264()} {STEREO} -movflags +faststart",
    "audio-only": f"{tone()} {STEREO}",
    "burst": f"{picture()} {bursts(5, 7, more=':sample_rate=48000')} {h264()} {STEREO}",
    "burst-mono": f"{picture()} {bursts(5, more=':sample_rate=44100')} {h264()} {AAC}",
    "burst-six": f"{picture()} {bursts(0, 2, 4, 6, 8, 10, more=':sample_rate=48000:channel_layout=5.1')} {h264()} "
                 "-c:a aac -b:a 384k",
    "burst-late": f"{picture()} -itsoffset 2.5 {bursts(5, more=':sample_rate=48000')} {h264()} {AAC}",
    "burst-fragmented": f"{picture()} {bursts(5, 7, more=':sample_rate=48000')} {h264()} {STEREO} "
                        "-movflags +frag_keyframe+empty_moov+default_base_moof",
    "burst-tables-first": f"{picture()} {bursts(5, 7, more=':sample_rate=48000')} {h264()} {STEREO} "
                          "-movflags +faststart",
    # Of one luma each; the last with highlights over a tenth of its picture.
    "dark": plain_luma(60),
    "dark-fragmented": "-i FOLDER/dark.mp4 -c copy -movflags +frag_keyframe+delay_moov+default_base_moof",
    "dark-second": plain_luma(60, seconds=1),
    "grey": plain_luma(105, seconds=30),
    "bright": plain_luma(230),
    "dark-with-lights": plain_luma("if(lt(X\\,W/8)\\,180\\,60)"),
    "short": f"{picture(seconds=3)} {tone(seconds=3)} {h264()} {STEREO}",
    **REENCODED,
    "one-keyframe": f"{picture()} {tone()} {h264(keyint=1000)} {STEREO}",
    # Large enough to fill the small disk and to be cancelled half-way.
    "large": f"{picture(rate=60, size='1280x720', seconds=40)} {tone(seconds=40)} "
             f"-c:v libx264 -preset ultrafast -qp 12 -g 60 -pix_fmt yuv420p {STEREO}",
    "minute": f"{picture(rate=60, size='128x72', seconds=60)} {tone(seconds=60)} {h264(bframes=0)} -crf 40 "
              "-c:a aac -b:a 16k",
    # They take a while to export however fast the disk is: there are many small samples.
    "five-minutes": "-stream_loop 4 -i FOLDER/minute.mp4 -c copy",
    "hour": "-stream_loop 59 -i FOLDER/minute.mp4 -c copy",
}


# What ffmpeg hears in a recording: samples of 16 bits, with the silence before sound that begins late.
HEARD = ("burst", "burst-mono", "burst-six", "burst-late", "burst-fragmented", "burst-tables-first")
AS_HEARD = "-map 0:a:0 -af aresample=async=1:first_pts=0 -f s16le"


def fragments(*flags, more=""):
    return f"-movflags +{'+'.join(('empty_moov', *flags))} {more}"


GROUPS_OF_HALF_A_SECOND = h264(keyint=15)
SHORT_VIDEO, SHORT_TONE = picture(size="128x72", seconds=3), tone(seconds=3)
SHORT = f"{SHORT_VIDEO} {SHORT_TONE} {GROUPS_OF_HALF_A_SECOND} {STEREO}"
FRAGMENTED = fragments("default_base_moof", "frag_keyframe")
HEVC = "-c:v libx265 -preset ultrafast -x265-params log-level=none:keyint=15:min-keyint=15 -tag:v hvc1"
TWO_AND_TWO = f"{SHORT_VIDEO} {picture(size='64x48', rate=25, seconds=3)} {SHORT_TONE} {tone(880, seconds=3)} " \
              f"-map 0 -map 1 -map 2 -map 3 {GROUPS_OF_HALF_A_SECOND} {STEREO}"

# Short files for the comparison of what is read of MP4 files; in a folder of their own.
MP4_RECIPES = {
    # Plain files: one table of samples, in the moov.
    **{f"plain-b{n}": f"{SHORT_VIDEO} {SHORT_TONE} {h264(keyint=15, bframes=n)} {STEREO}" for n in range(5)},
    "plain-open-gop": f"{SHORT_VIDEO} {SHORT_TONE} {h264(keyint=15, more=':open-gop=1')} {STEREO}",
    "plain-audio-first": f"{SHORT_VIDEO} {SHORT_TONE} -map 1 -map 0 {GROUPS_OF_HALF_A_SECOND} {STEREO}",
    "plain-tables-first": f"{SHORT} -movflags +faststart",
    "plain-two-tracks-each": TWO_AND_TWO,
    "plain-video-late": f"-itsoffset 1.5 {SHORT}",
    "plain-audio-late": f"{SHORT_VIDEO} -itsoffset 0.75 {SHORT_TONE} {GROUPS_OF_HALF_A_SECOND} {STEREO}",
    "plain-no-edit-list": f"{SHORT} -use_editlist 0",
    "plain-negative-composition": f"{SHORT} -movflags +negative_cts_offsets",
    "plain-every-frame-a-key": f"{SHORT_VIDEO} {SHORT_TONE} {h264(keyint=1, bframes=0)} {STEREO}",
    "plain-odd-size": f"{picture(size='127x71', seconds=3)} -c:v libx264 -pix_fmt yuv444p -g 15",
    "plain-variable-rate": f"{picture(size='128x72', rate=60, seconds=3)} -vf select='not(mod(n\\,3))+lt(n\\,40)' "
                           f"-fps_mode vfr {h264(keyint=20)}",
    "plain-video-only": f"{SHORT_VIDEO} {GROUPS_OF_HALF_A_SECOND}",
    "plain-audio-only": f"{SHORT_TONE} {STEREO}",
    "plain-hevc": f"{SHORT_VIDEO} {SHORT_TONE} {HEVC} {STEREO}",
    "plain-mpeg4": f"{SHORT_VIDEO} {SHORT_TONE} -c:v mpeg4 -g 15 -bf 2 {STEREO}",
    "plain-equal-sizes": f"{picture(size='16x16', seconds=3)} -c:v rawvideo -pix_fmt rgb24 -f mov",
    # Fragmented ones.
    **{f"fragmented-b{n}": f"{SHORT_VIDEO} {SHORT_TONE} {h264(keyint=15, bframes=n)} {STEREO} {FRAGMENTED}"
       for n in (0, 2, 4)},
    "fragmented-base-offset": f"{SHORT} {fragments('frag_keyframe')}",
    "fragmented-no-base-offset": f"{SHORT} {fragments('frag_keyframe', 'omit_tfhd_offset')}",
    "fragmented-behind-samples": f"{SHORT} -movflags +frag_keyframe",
    "fragmented-tracks-apart": f"{SHORT} {fragments('frag_keyframe', 'separate_moof')}",
    "fragmented-with-edit-list": f"{SHORT} -movflags +frag_keyframe+delay_moov",
    "fragmented-video-late": f"-itsoffset 1.5 {SHORT} -movflags +frag_keyframe+delay_moov",
    "fragmented-cmaf": f"{SHORT} -movflags +frag_keyframe+cmaf",
    "fragmented-with-sidx": f"{SHORT} -movflags +frag_keyframe+dash+global_sidx",
    "fragmented-short": f"{SHORT} {fragments('default_base_moof', more='-frag_duration 200000')}",
    "fragmented-long": f"{SHORT} {fragments('default_base_moof', more='-frag_duration 1200000')}",
    "fragmented-one-group": f"{SHORT_VIDEO} {SHORT_TONE} {h264(keyint=250)} {STEREO} "
                            f"{fragments(more='-frag_duration 500000')}",
    "fragmented-every-frame": f"{SHORT_VIDEO} {GROUPS_OF_HALF_A_SECOND} "
                              f"{fragments('default_base_moof', 'frag_every_frame')}",
    # The first two entries of its table have the same time.
    # Groups of more pictures than the entries that are looked at in front of one that is no keyframe.
    "fragmented-long-groups": f"{picture(size='128x72', seconds=4, rate=60)} {h264(keyint=160)} "
                              "-movflags +empty_moov+default_base_moof+frag_every_frame",
    # Begins before 0: what the edit list leaves out is there.
    "fragmented-cut": "-ss 1.3 -i FOLDER/plain-b2.mp4 -c copy -movflags +frag_keyframe+delay_moov",
    "fragmented-audio-every-frame": f"{SHORT_TONE} {STEREO} -movflags +delay_moov+default_base_moof+frag_every_frame",
    "fragmented-no-table": f"{SHORT} {fragments('default_base_moof', 'frag_keyframe', 'skip_trailer')}",
    "fragmented-two-tracks-each": f"{TWO_AND_TWO} {FRAGMENTED}",
    "fragmented-audio-first": f"{SHORT_VIDEO} {SHORT_TONE} -map 1 -map 0 {GROUPS_OF_HALF_A_SECOND} {STEREO} {FRAGMENTED}",
    "fragmented-video-only": f"{SHORT_VIDEO} {GROUPS_OF_HALF_A_SECOND} {FRAGMENTED}",
    "fragmented-audio-only": f"{SHORT_TONE} {STEREO} {fragments('default_base_moof', more='-frag_duration 500000')}",
    "fragmented-every-frame-a-key": f"{SHORT_VIDEO} {SHORT_TONE} {h264(keyint=1, bframes=0)} {STEREO} "
                                    f"{fragments('default_base_moof', more='-frag_duration 500000')}",
    "fragmented-hevc": f"{SHORT_VIDEO} {SHORT_TONE} {HEVC} {STEREO} {FRAGMENTED}",
    "fragmented-mpeg4": f"{SHORT_VIDEO} {SHORT_TONE} -c:v mpeg4 -g 15 -bf 2 {STEREO} {FRAGMENTED}",
    "fragmented-turned": f"-display_rotation 90 -i FOLDER/fragmented-b2.mp4 -c copy {FRAGMENTED}",
    "fragmented-wide-pixels": f"{SHORT_VIDEO} {SHORT_TONE} -vf setsar=4/3 {h264(keyint=15)} {STEREO} {FRAGMENTED}",
    "fragmented-opus": f"{SHORT_VIDEO} {SHORT_TONE} {GROUPS_OF_HALF_A_SECOND} -c:a libopus {FRAGMENTED}",
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
    burst = (folder / "burst-tables-first.mp4").read_bytes()
    (folder / "burst-broken-off.mp4").write_bytes(burst[: len(burst) * 2 // 3])


def make(folder, name, recipe, kind="mp4", of=""):
    target, stamp = folder / f"{name}.{kind}", folder / f"{name}.{'' if kind == 'mp4' else kind + '.'}recipe"
    if target.exists() and stamp.exists() and stamp.read_text(encoding="utf-8") == recipe + of:
        return target
    print(f"making {target.name}", flush=True)
    part = folder / f"{name}.part.{kind}"
    words = [word.replace("FOLDER", str(folder)) for word in recipe.split()]
    subprocess.run(["ffmpeg", "-v", "error", "-y", *words, str(part)], check=True, stdin=subprocess.DEVNULL)
    os.replace(part, target)
    stamp.write_text(recipe + of, encoding="utf-8")
    return target


def is_made_from_others(name):
    return "FOLDER/" in RECIPES[name]


def make_all(folder, names=tuple(RECIPES)):
    def make_one(name):
        make(folder, name, RECIPES[name])
        if name in HEARD:
            make(folder, name, f"-i FOLDER/{name}.mp4 {AS_HEARD}", kind="pcm", of=RECIPES[name])

    folder.mkdir(parents=True, exist_ok=True)
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        list(pool.map(make_one, [name for name in names if not is_made_from_others(name)]))
    for name in names:  # in the order in which they are described
        if is_made_from_others(name):
            make_one(name)
    if set(RECIPES) <= set(names):
        broken_files(folder)


def make_mp4_files(folder):
    folder.mkdir(parents=True, exist_ok=True)
    for name, recipe in MP4_RECIPES.items():
        make(folder, name, recipe)


def digest(path):
    return hashlib.md5(Path(path).read_bytes()).hexdigest()


if __name__ == "__main__":
    make_all(Path(sys.argv[1]), sys.argv[2:] or tuple(RECIPES))
