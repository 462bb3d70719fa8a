#!/usr/bin/env python3
"""Writes the second sample: a person reads five sentences of a novel (Debian's package pocketsphinx-testdata, from LibriVox,
in the public domain), with pauses in between. The words stand in sample-reading.txt.

    make-reading.py OUT.wav
"""
import pathlib
import sys
import wave

FOLDER = pathlib.Path("/usr/share/pocketsphinx/test/data/librivox")
RATE = 16_000
PAUSE = bytes(2 * RATE * 12 // 10)


def main():
    with wave.open(sys.argv[1], "wb") as out:
        out.setnchannels(1)
        out.setsampwidth(2)
        out.setframerate(RATE)
        out.writeframes(PAUSE)
        for name in (FOLDER / "fileids").read_text().split():
            with wave.open(str(FOLDER / f"{name}.wav")) as sentence:
                out.writeframes(sentence.readframes(sentence.getnframes()))
            out.writeframes(PAUSE)


if __name__ == "__main__":
    main()
