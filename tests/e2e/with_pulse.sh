#!/usr/bin/env bash
# Runs a command against a private PulseAudio daemon whose default sink is a null sink named
# "brellow_null"; what reaches the sink can be recorded from "brellow_null.monitor".
# Exports BRELLOW_PULSE_START and BRELLOW_PULSE_STOP so a test can take the server away and
# bring it back.
set -euo pipefail
runtime=$(mktemp -d /tmp/brellow-pulse.XXXXXX)
chmod 700 "$runtime"
export XDG_RUNTIME_DIR="$runtime"
export PULSE_RUNTIME_PATH="$runtime/pulse"
export HOME="$runtime"  # the daemon keeps its cookie and state here, not in the real home
export BRELLOW_PULSE_START="pulseaudio --daemonize=yes --exit-idle-time=-1 --disallow-exit -n \
  --load=module-native-protocol-unix \
  --load='module-null-sink sink_name=brellow_null rate=48000' --load=module-always-sink"
export BRELLOW_PULSE_STOP="pulseaudio --kill"
cleanup() {
  pulseaudio --kill 2>/dev/null || true
  rm -rf "$runtime"
}
trap cleanup EXIT
eval "$BRELLOW_PULSE_START" 2>/dev/null
for _ in $(seq 50); do pactl info >/dev/null 2>&1 && break; sleep 0.1; done
pactl set-default-sink brellow_null
"$@"
