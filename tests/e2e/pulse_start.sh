#!/usr/bin/env bash
# Starts the private PulseAudio daemon of with_pulse.sh (its environment must be set) with two
# null sinks, "brellow_null" (the default, listed first) and "brellow_other", and waits until it
# answers. A null sink renders its first block two seconds long, and until that time has
# passed it takes no data from new streams; suspending and resuming it once a quiet 5 ms stream
# plays on it sets its clock to now and its blocks short, so it takes data at once, as a sound
# card does. The quiet streams end with the daemon.
set -euo pipefail
pulseaudio --daemonize=yes --exit-idle-time=-1 --disallow-exit -n \
  --load=module-native-protocol-unix \
  --load='module-null-sink sink_name=brellow_null rate=48000' \
  --load='module-null-sink sink_name=brellow_other rate=48000' \
  --load=module-always-sink 2>/dev/null
for _ in $(seq 100); do pactl info >/dev/null 2>&1 && break; sleep 0.02; done
pactl set-default-sink brellow_null
for sink in brellow_null brellow_other; do
  setsid pacat -p --raw --rate=48000 --channels=2 --format=s16le --latency-msec=5 \
    --device="$sink" --client-name=keep-awake /dev/zero </dev/null >/dev/null 2>&1 &
done
for _ in $(seq 100); do
  [ "$(pactl list short sink-inputs | wc -l)" -ge 2 ] && break
  sleep 0.02
done
for sink in brellow_null brellow_other; do
  pactl suspend-sink "$sink" 1
  pactl suspend-sink "$sink" 0
done
