#!/usr/bin/env bash
# A show window whose web process dies (killed by its process id, as the out-of-memory killer
# would): the page comes back by itself with the show, the sting playing carries on, and after a
# third death within a minute the window explains instead of reloading in a loop.
# Usage: page_recovery_test.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: page_recovery_test.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
if [ -z "${BRELLOW_TEST_SESSION:-}" ]; then
  export BRELLOW_TEST_SESSION=1
  exec dbus-run-session -- "$0" "$@"
fi
# shellcheck source=tests/app/app_session.sh
source "$here/app_session.sh"
shots="${BRELLOW_SCREENSHOTS:-$here/../../build/screenshots}"
mkdir -p "$shots" "$support"

# Agreed and toured already: the show window comes straight up.
echo '{"version":"1","acceptedAt":1700000000}' >"$support/agreement.json"
echo '{"version":"1","completed":false,"skipped":true}' >"$support/onboarding.json"
"$cli" new "$work/Gala.stingshow" --demo >/dev/null
pad=$("$cli" show "$work/Gala.stingshow" |
  python3 -c 'import json,sys; print(json.load(sys.stdin)["pages"][0]["stings"][7]["id"])')
"$cli" edit "$work/Gala.stingshow" setLoop "{\"stingID\":\"$pad\",\"enabled\":true}" >/dev/null

# The web process of this application (WebKit names its helper processes by role).
web_process() { pgrep -P "$app_pid" -f WebKitWebProcess | head -1; }
ready_count() { grep -c "JS bridge ready" "$log" || true; }
wait_ready() { # waits for the n-th "JS bridge ready"
  for _ in $(seq 300); do [ "$(ready_count)" -ge "$1" ] && return 0; sleep 0.1; done
  return 1
}

start_app "$work/Gala.stingshow"
main=$(window "Gala — Brellow") || fail "no show window"
wait_ready 1 || fail "the page never said ready"
xdotool windowfocus --sync "$main"
xdotool key 8 # the looping Pad
wait_log "Play $pad" || fail "hotkey 8 did not play the Pad"

victim=$(web_process) || true
[ -n "$victim" ] || fail "no web process found"
kill -KILL "$victim"
wait_log "Web content process crashed; 1 sting(s) still playing" ||
  fail "the web process's end was not logged with the Pad still playing"
wait_log "Reloading the show page" || fail "the page was not reloaded"
wait_ready 2 || fail "the reloaded page never said ready"
[ "$(web_process)" != "$victim" ] || fail "the old web process is still there"
sleep 1
shot() { import -window root "$shots/$1.png"; }
shot page-recovered
pass "the page reloads by itself after its web process is killed"

# A second death: the Pad has played on through the first reload.
kill -KILL "$(web_process)"
wait_ready 3 || fail "the second reload never said ready"
[ "$(grep -c "Web content process crashed; 1 sting(s) still playing" "$log")" -eq 2 ] ||
  fail "the Pad did not play on through the reload"
[ "$(grep -c "Play $pad" "$log")" -eq 1 ] || fail "the Pad was started again instead of playing on"
pass "playback carries on through a reload"

# The reloaded page takes hotkeys: Escape stops everything.
sleep 1
xdotool windowfocus --sync "$main"
xdotool key Escape
sleep 1.5
# The third death within the minute: an explanation instead of a reload.
kill -KILL "$(web_process)"
wait_log "Web content process crashed; 0 sting(s) still playing" ||
  fail "Escape on the reloaded page did not stop the Pad"
wait_log "showing an explanation instead of reloading" || fail "the third death in a minute was not explained"
sleep 2
[ "$(ready_count)" -eq 3 ] || fail "the page was reloaded after the third death"
shot page-crash-explained
kill -0 "$app_pid" || fail "the application ended"
pass "the reloaded page takes hotkeys; a third death within a minute is explained, not looped"

click_in "$main" 408 584 # "Try the page again"
wait_ready 4 || fail "\"Try the page again\" did not bring the show page back"
pass "the explanation's button brings the show page back"

kill -TERM "$app_pid"
wait_exit "$app_pid" 15 || fail "SIGTERM did not end the application"
[ "$exit_status" -eq 0 ] || fail "exit status $exit_status"
echo "Page recovery: all checks passed"
