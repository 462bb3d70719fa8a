#!/bin/sh
# Makes sample-interview.wav anew from sample-interview.txt: two voices take turns, a question a line.
# Needs flite (voices rms and slt) and sox; the build needs neither, since the result is kept beside this script.
set -eu
cd "$(dirname "$0")"

stretch=1.1      # how much slower than the voices' own pace
lead_in=1.0      # seconds of silence before the first question
pause=1.1        # after every question; the voices themselves leave some 0.3 s more
work=$(mktemp -d)
trap 'rm -r "$work"' EXIT

silence() { sox -D -n -r 16000 -c 1 -b 16 "$2" trim 0 "$1"; }

silence "$lead_in" "$work/00.wav"
number=0
while IFS= read -r question; do
    number=$((number + 1))
    voice=$([ $((number % 2)) -eq 1 ] && echo rms || echo slt)
    flite -voice "$voice" --setf duration_stretch="$stretch" -t "$question" -o "$work/$(printf %02d $number)a.wav"
    silence "$pause" "$work/$(printf %02d $number)b.wav"
done < sample-interview.txt

sox -D "$work"/*.wav -r 16000 -c 1 -b 16 sample-interview.wav
