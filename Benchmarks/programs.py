"""The whole programs that scripts/bench measures: rhohost beside others that do the same. Files lie in memory."""

import atexit
import dataclasses
import math
import os
import pathlib
import random
import shutil
import subprocess
import tempfile
import wave

MEMORY = "/dev/shm"
HAS_MEMORY = os.path.isdir(MEMORY) and shutil.disk_usage(MEMORY).free > 4 << 30
FOLDER = pathlib.Path(tempfile.mkdtemp(prefix="bench-", dir=MEMORY if HAS_MEMORY else None))
atexit.register(shutil.rmtree, FOLDER, ignore_errors=True)
OUTPUT = FOLDER / "output"
RATE = 44100
PEERS = {
    "cp": "coreutils",
    "sndfile-convert": "sndfile-programs",
    "gst-launch-1.0": "gstreamer1.0-tools",
    "mkvmerge": "mkvtoolnix",
    "ffmpeg": "ffmpeg",
    "flac": "flac",
    "parallel": "parallel",
}


@dataclasses.dataclass
class Case:
    name: str
    sides: dict  # the command of each
    prepare: object = lambda: None
    needs: str = "cp"  # the program that makes its input


def missing():
    """The peers that are not installed."""
    return [f"{program} ({package})" for program, package in PEERS.items() if shutil.which(program) is None]


def make_wav(path, seconds, bytes_per_sample=2):
    """Two channels of a tone in noise, the same second again and again."""
    if path.exists():
        return
    noise = random.Random(1)
    loudest = 1 << (8 * bytes_per_sample - 1)
    samples = bytearray()
    for frame in range(RATE):
        for tone in (441, 660):
            value = 0.5 * math.sin(2 * math.pi * tone * frame / RATE) + noise.uniform(-0.02, 0.02)
            samples += int(value * loudest).to_bytes(bytes_per_sample, "little", signed=True)
    with wave.open(str(path), "wb") as file:
        file.setnchannels(2)
        file.setsampwidth(bytes_per_sample)
        file.setframerate(RATE)
        for _ in range(seconds):
            file.writeframes(samples)


def make_flac(path, seconds):
    source = path.with_suffix(".wav")
    make_wav(source, seconds, bytes_per_sample=3)
    subprocess.run(["flac", "--totally-silent", "--force", "-o", path, source], check=True)


def make_many(folder, count):
    make_wav(FOLDER / "1.wav", 1)
    if not folder.exists():
        folder.mkdir()
        for number in range(count):
            shutil.copy(FOLDER / "1.wav", folder / f"{number}.wav")


def cases(build, is_quick=False):
    """The cases, without those, and the sides, whose programs are missing."""
    for case in all_cases(build / "rhohost", is_quick):
        if shutil.which(case.needs) is None:
            continue
        case.sides = {side: [str(word) for word in command] for side, command in case.sides.items()
                      if command[0] not in PEERS or shutil.which(command[0])}
        yield case


def all_cases(rhohost, is_quick=False):
    mkv = OUTPUT / "out.mkv"
    encode = [rhohost, "-q"]
    for seconds in [1] if is_quick else [1, 10, 60, 600, 3600]:
        wav = FOLDER / f"{seconds}.wav"
        yield Case(f"WAV of {seconds} s", prepare=lambda wav=wav, seconds=seconds: make_wav(wav, seconds), sides={
            "ours": [*encode, wav, mkv],
            "cp": ["cp", wav, mkv],
            "sndfile-convert": ["sndfile-convert", "-pcm16", wav, OUTPUT / "out.aiff"],
            "gst-launch": ["gst-launch-1.0", "-q", "filesrc", f"location={wav}", "!", "wavparse", "!", "matroskamux",
                           "!", "filesink", f"location={mkv}"],
            "mkvmerge": ["mkvmerge", "-q", "-o", mkv, wav],
            "ffmpeg": ["ffmpeg", "-v", "error", "-i", wav, "-c", "copy", mkv]})
    seconds = 1 if is_quick else 600
    wav = FOLDER / f"{seconds}.wav"
    yield Case(f"WAV of {seconds} s, verified", prepare=lambda: make_wav(wav, seconds), sides={
        "ours": [*encode, "--verify", wav, mkv],
        "encoding alone": [*encode, wav, mkv]})
    flac = FOLDER / "24.flac"
    yield Case(f"FLAC of 24 bits, {seconds} s", needs="flac", prepare=lambda: make_flac(flac, seconds), sides={
        "ours": [*encode, flac, mkv],
        "decoding alone": ["flac", "--silent", "--test", flac],
        "ffmpeg": ["ffmpeg", "-v", "error", "-i", flac, "-c:a", "pcm_s24le", mkv]})
    count = 4 if is_quick else 2000
    many, long = FOLDER / "many", FOLDER / "long.wav"
    for jobs in [1] if is_quick else [1, 2, 3, 4]:
        yield Case(f"{count} files of 1 s, jobs {jobs}", prepare=lambda: make_many(many, count), sides={
            "ours": [*encode, "--jobs", jobs, "--to", OUTPUT, many],
            "cp": ["cp", "-r", many, OUTPUT / "copied"]})
    yield Case(f"{count} files of 1 s", prepare=lambda: (make_many(many, count), make_wav(long, count)), sides={
        "ours": [*encode, "--jobs", 2, "--to", OUTPUT, many],
        "one long file": [*encode, long, mkv],
        "parallel": ["parallel", "--jobs", "2", rhohost, "-q", "{}", OUTPUT / "{/.}.mkv", ":::",
                     *(many / f"{number}.wav" for number in range(count))]})
