#!/usr/bin/env bash
# Runs a command against a private PulseAudio daemon with two null sinks, "brellow_null" (the
# default, listed first) and "brellow_other" (see pulse_start.sh); what reaches a sink can be
# recorded from its ".monitor". The daemon's process id is in "$PULSE_RUNTIME_PATH/pid".
# Exports BRELLOW_PULSE_START and BRELLOW_PULSE_STOP so a test can take the server away and
# bring it back.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
runtime=$(mktemp -d /tmp/brellow-pulse.XXXXXX)
chmod 700 "$runtime"
export XDG_RUNTIME_DIR="$runtime"
export PULSE_RUNTIME_PATH="$runtime/pulse"
export HOME="$runtime"  # the daemon keeps its cookie and state here, not in the real home
export BRELLOW_PULSE_START="$here/pulse_start.sh"
export BRELLOW_PULSE_STOP="pulseaudio --kill"
cleanup() {
  pulseaudio --kill 2>/dev/null || true
  rm -rf "$runtime" 2>/dev/null || { sleep 0.3; rm -rf "$runtime"; }
}
trap cleanup EXIT
"$BRELLOW_PULSE_START"
"$@"
