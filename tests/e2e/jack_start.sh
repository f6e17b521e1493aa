#!/usr/bin/env bash
# Starts the private JACK server of with_jack.sh (its environment must be set) and waits until
# it answers, writing its process id to "$BRELLOW_JACK_PID_FILE". A server that has just shut
# down may still hold its name for a moment; the start is tried again until it is free.
set -uo pipefail
log="$(dirname "$BRELLOW_JACK_PID_FILE")/jackd.log"
for _ in $(seq 20); do
  jackd --no-realtime -d dummy -r 48000 -p 256 >>"$log" 2>&1 &
  pid=$!
  for _ in $(seq 40); do
    if jack_lsp >/dev/null 2>&1; then
      echo "$pid" >"$BRELLOW_JACK_PID_FILE"
      exit 0
    fi
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.05
  done
  kill "$pid" 2>/dev/null
  sleep 0.25
done
echo "jack_start: the JACK server did not start (see $log)" >&2
exit 1
