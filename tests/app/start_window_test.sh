#!/usr/bin/env bash
# No invisible process: closing the last show window leaves the start window (New, Open…, recent
# shows) as the running application's visible home; a second launch with a file opens it in the
# running instance; closing the start window quits. Usage: start_window_test.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: start_window_test.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
if [ -z "${BRELLOW_TEST_SESSION:-}" ]; then
  export BRELLOW_TEST_SESSION=1
  exec dbus-run-session -- "$0" "$@"
fi
# shellcheck source=tests/app/app_session.sh
source "$here/app_session.sh"
shots="${BRELLOW_SCREENSHOTS:-$here/../../build/screenshots}"
mkdir -p "$shots" "$support"
echo '{"version":"1","acceptedAt":1700000000}' >"$support/agreement.json"
echo '{"version":"1","completed":false,"skipped":true}' >"$support/onboarding.json"
"$cli" new "$work/Gala.stingshow" >/dev/null
"$cli" new "$work/Other.stingshow" >/dev/null

start_window() { xdotool search --onlyvisible --name '^Brellow$' 2>/dev/null | head -1; }
close_show() {
  local id
  id=$(window "$1") || fail "no window $1"
  xdotool windowfocus --sync "$id"
  xdotool key ctrl+w
  for _ in $(seq 50); do no_window "$1" && return 0; sleep 0.1; done
  fail "Ctrl+W did not close $1"
}
wait_start_window() {
  for _ in $(seq 100); do [ -n "$(start_window)" ] && return 0; sleep 0.1; done
  return 1
}

start_app "$work/Gala.stingshow"
window "Gala — Brellow" >/dev/null || fail "no show window"
[ -z "$(start_window)" ] || fail "the start window is up beside a show"
close_show "Gala — Brellow"
wait_start_window || fail "closing the last show left no visible window"
wait_log "start window shown with 1 recent show(s)" || fail "the start window did not list Gala"
# GTK writes the recently used list from an idle callback, a moment after it changed.
in_recent_list() { grep -q "Gala.stingshow" "$XDG_DATA_HOME/recently-used.xbel" 2>/dev/null; }
for _ in $(seq 50); do in_recent_list && break; sleep 0.1; done
in_recent_list || fail "Gala is not in the desktop's recently used list"
import -window root "$shots/start-window.png"
pass "closing the last show leaves the start window, listing the show"

# A second launch with a file: the running instance opens it, and the start window goes.
"$build/src/app/brellow" "$work/Other.stingshow" >>"$log" 2>&1 || fail "the second launch failed"
window "Other — Brellow" >/dev/null || fail "the running instance did not open Other"
sleep 0.5
[ -z "$(start_window)" ] || fail "the start window stayed up beside a show"
[ "$(pgrep -c -x -P $$ brellow)" -eq 1 ] || fail "more than one brellow process"
pass "a second launch opens its show in the running instance"

# New Show from the start window's keyboard shortcut.
close_show "Other — Brellow"
wait_start_window || fail "no start window after closing Other"
wait_log "start window shown with 2 recent show(s)" || fail "the start window did not list both shows"
click_in "$(start_window)" 118 310 # the first recent show: Other, the last one closed
window "Other — Brellow" >/dev/null || fail "clicking the recent show did not open it"
close_show "Other — Brellow"
wait_start_window || fail "no start window after closing Other again"
pass "a recent show opens from the start window"

xdotool windowfocus --sync "$(start_window)"
xdotool key ctrl+n
window "Untitled — Brellow" >/dev/null || fail "Ctrl+N in the start window opened no show"
close_show "Untitled — Brellow"
wait_start_window || fail "no start window after closing the untitled show"
pass "New Show from the start window, and back to it"

# Closing the start window quits.
xdotool windowfocus --sync "$(start_window)"
xdotool key ctrl+w
wait_exit "$app_pid" 10 || fail "closing the start window did not quit"
[ "$exit_status" -eq 0 ] || fail "exit status $exit_status"
pass "closing the start window quits with status 0"
echo "Start window: all checks passed"
