#!/usr/bin/env python3
"""Word errors in the forms that a call's sound takes: other rates and formats, less level, noise.

recognition_variants.py BENCH...: programs recognition_accuracy_bench of one or more builds, whose recognisers are
compared with each other and with the bare library, which decodes each file as a whole. Needs sox and flite. Sources
are the sample interview (as it is, and with four voices of flite) and the reading of resources/sample-reading.
"""
import json
import re
import subprocess
import sys
import tempfile
from collections import Counter
from pathlib import Path

RESOURCES = Path(__file__).resolve().parent.parent / "resources"
VOICES = ["awb", "kal", "rms", "slt"]
FORMS = {
    "WAV 8 kHz": ["wav", "rate", "8000"],
    "WAV 16 kHz": ["wav"],
    "WAV 44.1 kHz": ["wav", "rate", "44100"],
    "Ogg 44.1 kHz": ["ogg", "rate", "44100"],
    "FLAC 48 kHz stereo": ["flac", "rate", "48000", "channels", "2"],
    "WAV -6 dB": ["wav", "gain", "-6"],
    "WAV -20 dB": ["wav", "gain", "-20"],
}
NOISES = {"noise at 20 dB": 0.1, "noise at 10 dB": 0.316}  # of the speech's level, pauses not counted


def sox(*arguments):
    return subprocess.run(["sox", "-D", "-R", *map(str, arguments)], check=True, capture_output=True, text=True).stderr


def spoken(folder, voice, lines):
    pause = folder / "pause.wav"
    sox("-n", "-r", 16000, "-c", 1, "-b", 16, pause, "trim", 0, 1.1)
    parts = [pause]
    for number, line in enumerate(lines):
        said, part = folder / "said.wav", folder / f"part{number}.wav"
        subprocess.run(["flite", "-voice", voice, "--setf", "duration_stretch=1.1", "-t", line, "-o", said], check=True)
        sox(said, "-r", 16000, part)
        parts += [part, pause]
    sox(*parts, folder / f"{voice}.wav")
    return folder / f"{voice}.wav"


def sources(folder):
    """The 16 kHz recordings and their words."""
    interview, reading = RESOURCES / "sample-interview/sample-interview", folder / "reading.wav"
    words = interview.with_suffix(".txt").read_text()
    subprocess.run([RESOURCES / "sample-reading/make-reading.py", reading], check=True)
    yield interview.with_suffix(".wav"), words
    yield reading, (RESOURCES / "sample-reading/sample-reading.txt").read_text()
    for voice in VOICES:
        yield spoken(folder, voice, words.splitlines()), words


def level_of(file, *effects):
    return float(re.search(r"RMS\s+amplitude:\s+([\d.]+)", sox(file, "-n", *effects, "stat"))[1])


def noisy(folder, source, share):
    speech = level_of(source, "silence", 1, 0.1, "1%", -1, 0.1, "1%")
    noise, target = folder / "noise.wav", folder / f"{source.stem}-{share}.wav"
    length = re.search(r"Length \(seconds\):\s+([\d.]+)", sox(source, "-n", "stat"))[1]
    sox("-n", "-r", 16000, "-c", 1, "-b", 16, noise, "synth", length, "whitenoise", "vol", 0.5)
    sox("-m", "-v", 1, source, "-v", share * speech / level_of(noise), noise, target)
    return target


def variants(folder):
    for source, words in sources(folder):
        for form, (kind, *effects) in FORMS.items():
            target = folder / f"{source.stem}-{form.replace(' ', '')}.{kind}"
            sox(source, target, *effects)
            yield form, target, words
        for name, share in NOISES.items():
            yield name, noisy(folder, source, share), words


def words_of(text):
    return re.findall(r"[a-z0-9][a-z0-9']*", text.lower())


def errors(reference, heard):
    row = list(range(len(heard) + 1))
    for word in reference:
        diagonal, row[0] = row[0], row[0] + 1
        for i, other in enumerate(heard):
            replaced, diagonal = diagonal + (word != other), row[i + 1]
            row[i + 1] = min(replaced, row[i + 1] + 1, row[i] + 1)
    return row[-1]


def main(programs):
    with tempfile.TemporaryDirectory() as name:
        files = list(variants(Path(name)))
        rates, counts = Counter(), Counter()
        columns = ["library", *programs]
        for program in programs:
            run = subprocess.run([program, *(file for _, file, _ in files)], check=True, capture_output=True, text=True)
            for (form, _, text), line in zip(files, run.stdout.splitlines()):
                heard, reference = json.loads(line), words_of(text)
                counts[form, program] += len(reference)
                rates[form, program] += errors(reference, words_of(heard["service"]))
                if program == programs[0]:
                    counts[form, "library"] += len(reference)
                    rates[form, "library"] += errors(reference, words_of(heard["library"]))
    print("word errors, %", *columns, sep="  ")
    for form in [*FORMS, *NOISES]:
        print(f"{form:20}", *(f"{100 * rates[form, c] / counts[form, c]:8.2f}" for c in columns))


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    main(sys.argv[1:])
