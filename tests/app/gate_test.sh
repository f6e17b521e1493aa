#!/usr/bin/env bash
# The licence gate under Xvfb: Ctrl+Q, SIGTERM and SIGINT at the gate end the program as any
# quit does; shows asked for at the gate (on the command line, by a second launch, by Ctrl+N)
# open only after Agree, and Agree works after them. Usage: gate_test.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: gate_test.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
if [ -z "${BRELLOW_TEST_SESSION:-}" ]; then
  export BRELLOW_TEST_SESSION=1
  exec dbus-run-session -- "$0" "$@"
fi
# shellcheck source=tests/app/app_session.sh
source "$here/app_session.sh"

gate_title="Brellow Licence Agreement"

# --- signals and Ctrl+Q at the gate end the program, with the status of any quit
for way in TERM INT ctrl+q; do
  start_app
  gate=$(window "$gate_title") || fail "no agreement window ($way)"
  sleep 1 # the page is up
  if [ "$way" = ctrl+q ]; then
    xdotool windowfocus --sync "$gate" key ctrl+q
  else
    kill -s "$way" "$app_pid"
  fi
  wait_exit "$app_pid" 10 || fail "$way at the gate did not end the program"
  [ "$exit_status" -eq 0 ] || fail "$way at the gate: exit status $exit_status"
  [ ! -e "$support/agreement.json" ] || fail "$way at the gate recorded an agreement"
  pass "$way at the gate quits with status 0"
done

# --- shows asked for at the gate wait for Agree
"$cli" new "$work/Gala.stingshow" >/dev/null
"$cli" new "$work/Other.stingshow" >/dev/null
start_app "$work/Gala.stingshow"
main_pid=$app_pid
gate=$(window "$gate_title") || fail "no agreement window"
sleep 1
xdotool windowfocus --sync "$gate" key ctrl+n
"$build/src/app/brellow" "$work/Other.stingshow" >>"$log" 2>&1 &
second=$!
wait_exit "$second" 10 || fail "the second launch did not hand over and end"
[ "$exit_status" -eq 0 ] || fail "the second launch ended with status $exit_status"
sleep 1.5
no_window "— Brellow" || fail "a show window opened before agreeing"
pass "Ctrl+N and a second launch at the gate open nothing yet"

click_in "$gate" 865 945 # Agree, at the bottom right
window "Gala — Brellow" >/dev/null || fail "the show from the command line did not open after Agree"
window "Other — Brellow" >/dev/null || fail "the show from the second launch did not open after Agree"
window "Untitled — Brellow" >/dev/null || fail "Ctrl+N at the gate gave no untitled show after Agree"
grep -q '"version":"1"' "$support/agreement.json" || fail "Agree recorded no agreement"
pass "after Agree the command line's, the second launch's and Ctrl+N's shows open"

kill -TERM "$main_pid"
wait_exit "$main_pid" 15 || fail "SIGTERM did not end the running application"
[ "$exit_status" -eq 0 ] || fail "SIGTERM: exit status $exit_status"
pass "SIGTERM ends the running application with status 0"
echo "Licence gate: all checks passed"
