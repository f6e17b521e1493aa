#!/usr/bin/env bash
# Synthesises Brellow's demonstration stings with sox and encodes them to AAC (.m4a) with
# ffmpeg, into resources/Demo. Everything is made here from oscillators and noise, so the
# sounds are ours. Run it again after changing a recipe, and commit the results.
set -euo pipefail
cd "$(dirname "$0")/.."
out=resources/Demo
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

synth() {  # name, then sox arguments after the output file
  local name=$1
  shift
  sox -n -r 48000 -c 2 -b 24 "$work/$name.wav" "$@"
  ffmpeg -v error -y -i "$work/$name.wav" -c:a aac -b:a 192k -map_metadata -1 -fflags +bitexact \
    -flags:a +bitexact "$out/$name.m4a"
}

# A bright chime: a few bell partials that ring out.
synth "01 Chime" synth 2.5 sine 1318.5 sine 2637 sine 3951 remix 1,2,3 1,2,3 fade q 0.005 2.5 2.4 gain -8
# A whoosh: filtered noise swept up and down across the stereo field.
synth "02 Whoosh" synth 1.6 pinknoise sinc 300-3000 tremolo 0.6 60 fade h 0.6 1.6 0.9 gain 8
# A drum hit: a falling low sine with a short noise snap.
synth "03 Drum Hit" synth 0.8 sine 120-40 synth 0.8 whitenoise mix fade q 0.001 0.8 0.7 gain -3
# A riser: a sine sweep with noise, growing to a cut-off.
synth "04 Riser" synth 4 sine 200-1800 synth 4 pinknoise mix fade h 3.8 4 0.02 gain -10
# Applause-like: dense bursts of filtered noise that swell and fade.
synth "05 Applause" synth 5 pinknoise sinc 800-6000 tremolo 17 80 fade t 1 5 2 gain 2
# A low boom for a scene change.
synth "06 Boom" synth 2 sine 60-30 overdrive 6 fade q 0.002 2 1.8 gain -6
# A short three-note stinger.
sox -n -r 48000 -c 2 -b 24 "$work/a.wav" synth 0.25 square 523.25 fade q 0.005 0.25 0.1 gain -14
sox -n -r 48000 -c 2 -b 24 "$work/b.wav" synth 0.25 square 659.25 fade q 0.005 0.25 0.1 gain -14
sox -n -r 48000 -c 2 -b 24 "$work/c.wav" synth 1.2 square 783.99 fade q 0.005 1.2 1 gain -14
sox "$work/a.wav" "$work/b.wav" "$work/c.wav" "$work/07 Stinger.wav"
ffmpeg -v error -y -i "$work/07 Stinger.wav" -c:a aac -b:a 192k -map_metadata -1 -fflags +bitexact \
  -flags:a +bitexact "$out/07 Stinger.m4a"
# A soft pad to loop under a scene.
synth "08 Pad" synth 6 sine 220 sine 277.18 sine 329.63 remix 1,2,3 1,2,3 tremolo 0.3 30 fade h 1 6 1 gain -14

ls -l "$out"
