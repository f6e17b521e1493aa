#!/usr/bin/env bash
# Runs a command against a private JACK server on its dummy back end (48 kHz, 256-frame
# periods), named for this run so it meets no other. Exports BRELLOW_JACK_START (jack_start.sh),
# which starts the server again and writes its process id to "$BRELLOW_JACK_PID_FILE", and sets
# BRELLOW_AUDIO_API=jack so the output goes nowhere else.
set -euo pipefail
runtime=$(mktemp -d /tmp/brellow-jack.XXXXXX)
export JACK_DEFAULT_SERVER="brellow-$$"
export BRELLOW_AUDIO_API=jack
export JACK_NO_START_SERVER=1  # a client never starts a server of its own
export BRELLOW_JACK_PID_FILE="$runtime/pid"
export BRELLOW_JACK_START="$(cd "$(dirname "$0")" && pwd)/jack_start.sh"
cleanup() {
  [ -f "$runtime/pid" ] && kill "$(cat "$runtime/pid")" 2>/dev/null || true
  sleep 0.2
  rm -rf "$runtime"
}
trap cleanup EXIT
"$BRELLOW_JACK_START"
"$@"
