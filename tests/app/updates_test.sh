#!/usr/bin/env bash
# Updates never interrupt a show, under Xvfb: the second launch asks once whether to check
# automatically, without taking the keyboard from the show window; a found update is announced
# by a desktop notification while a sting plays, with no window and no change of focus; the
# settings page carries the switch. Usage: updates_test.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: updates_test.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
if [ -z "${BRELLOW_TEST_SESSION:-}" ]; then
  export BRELLOW_TEST_SESSION=1
  exec dbus-run-session -- "$0" "$@"
fi
# shellcheck source=tests/app/app_session.sh
source "$here/app_session.sh"
mkdir -p "$support" "$work/feed"
echo '{"version":"1","acceptedAt":1700000000}' >"$support/agreement.json"
echo '{"version":"1","completed":false,"skipped":true}' >"$support/onboarding.json"
"$cli" new "$work/Gala.stingshow" --demo >/dev/null
pad=$("$cli" show "$work/Gala.stingshow" |
  python3 -c 'import json,sys; print(json.load(sys.stdin)["pages"][0]["stings"][7]["id"])')
"$cli" edit "$work/Gala.stingshow" setLoop "{\"stingID\":\"$pad\",\"enabled\":true}" >/dev/null

# A feed offering a newer version, on a local server.
cat >"$work/feed/appcast.xml" <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel>
<title>Brellow</title><item><title>Brellow 9.9.9</title><sparkle:version>9.9.9</sparkle:version>
<sparkle:shortVersionString>9.9.9</sparkle:shortVersionString>
<enclosure url="https://example.invalid/Brellow-9.9.9.tar.gz" length="1"/></item>
</channel></rss>
XML
port=$((20000 + RANDOM % 20000))
python3 -m http.server --bind 127.0.0.1 --directory "$work/feed" "$port" >"$work/feed.log" 2>&1 &
app_pids+=("$!")
export BRELLOW_UPDATE_FEED="http://127.0.0.1:$port/appcast.xml"
for _ in $(seq 50); do curl -sf "http://127.0.0.1:$port/" >/dev/null && break; sleep 0.1; done

visible_windows() { xdotool search --onlyvisible --name '.' 2>/dev/null | sort; }
quit_app() {
  kill -TERM "$app_pid"
  wait_exit "$app_pid" 15 || fail "SIGTERM did not end the application"
}

# --- the first launch neither asks nor checks
start_app "$work/Gala.stingshow"
window "Gala — Brellow" >/dev/null || fail "no show window"
wait_log "JS bridge ready" || fail "the page never said ready"
sleep 1
grep -q "Asked whether to check" "$log" && fail "the first launch asked about update checks"
grep -q "GET /appcast.xml" "$work/feed.log" && fail "the first launch checked without consent"
quit_app
pass "the first launch neither asks nor checks"

# --- the second launch asks, without taking the focus from the show window
: >"$log"
start_app "$work/Gala.stingshow"
main=$(window "Gala — Brellow") || fail "no show window"
wait_log "JS bridge ready" || fail "the page never said ready"
xdotool windowfocus --sync "$main"
question=$(window "Brellow Updates") || fail "the second launch did not ask about update checks"
sleep 0.5
[ "$(xdotool getwindowfocus)" = "$main" ] || fail "the question took the focus from the show"
xdotool key 8 # the hotkey still reaches the show
wait_log "Play $pad" || fail "a hotkey did not reach the show while the question was up"
click_in "$question" 800 850 # "Check Automatically", the right-hand button
wait_log "Update announced by a desktop notification: " ||
  fail "consenting did not check, or the found update was not announced"
grep -q '"automaticallyChecks":true' "$support/updates.json" || fail "the answer was not kept"
sleep 1
[ -z "$(xdotool search --onlyvisible --name 'Brellow Updates' 2>/dev/null)" ] ||
  fail "the question stayed up"
if xdotool search --onlyvisible --name '.' 2>/dev/null | while read -r id; do
  name=$(xdotool getwindowname "$id")
  [ "$name" = "Gala — Brellow" ] || [ -z "$name" ] || echo "$name"
done | grep -q .; then
  fail "a window opened for the found update"
fi
pass "the second launch asks once without taking focus; a find is a notification, not a window"

# --- the settings page shows the switch, and it turns checks off
xdotool windowfocus --sync "$main"
xdotool key ctrl+comma
prefs=$(window "Brellow Settings") || fail "Ctrl+, opened no settings window"
sleep 1.5
import -window root "${BRELLOW_SCREENSHOTS:-$here/../../build/screenshots}/settings-updates.png"
click_in "$prefs" 865 490 # the update switch, below the statistics one
for _ in $(seq 50); do grep -q '"automaticallyChecks":false' "$support/updates.json" && break; sleep 0.1; done
grep -q '"automaticallyChecks":false' "$support/updates.json" ||
  fail "the settings switch did not turn automatic checks off: $(cat "$support/updates.json")"
pass "the settings switch turns automatic checks off"
quit_app

# --- a third launch does not ask again
: >"$log"
start_app "$work/Gala.stingshow"
window "Gala — Brellow" >/dev/null || fail "no show window"
wait_log "JS bridge ready" || fail "the page never said ready"
sleep 1
grep -q "Asked whether to check" "$log" && fail "the question was asked again"
quit_app
pass "the question is asked once"
echo "Updates: all checks passed"
