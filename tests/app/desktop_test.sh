#!/usr/bin/env bash
# The desktop application as a user meets it, under Xvfb with a private home and session bus:
# the licence gate, the first show with its tour, firing by hotkey, Save As, a second launch
# handing its file to the running one, a damaged package, closing the last window and quitting.
# Screenshots go to build/screenshots. Usage: desktop_test.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: desktop_test.sh BUILD_DIR}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
shots="${BRELLOW_SCREENSHOTS:-$here/../../build/screenshots}"
mkdir -p "$shots"

if [ -z "${BRELLOW_TEST_SESSION:-}" ]; then
  export BRELLOW_TEST_SESSION=1
  exec dbus-run-session -- "$0" "$@"
fi

work=$(mktemp -d)
app_pid=""
xvfb_pid=""
cleanup() {
  [ -n "$app_pid" ] && kill "$app_pid" 2>/dev/null || true
  [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# A display of our own; -displayfd picks a free number.
exec {display_fd}<> <(:)
Xvfb -displayfd "$display_fd" -screen 0 1920x1200x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
xvfb_pid=$!
read -r -t 10 number <&"$display_fd"
export DISPLAY=":$number"

export HOME="$work/home" XDG_CONFIG_HOME="$work/home/config" XDG_CACHE_HOME="$work/home/cache"
export XDG_DATA_HOME="$work/home/data" BRELLOW_LOG=stderr
export BRELLOW_UPDATE_FEED="http://127.0.0.1:9/appcast.xml"  # nothing listens: checks fail fast
export NO_AT_BRIDGE=1
mkdir -p "$HOME"
support="$XDG_CONFIG_HOME/org.brellow.Brellow"
cli="$build/src/cli/brellow-cli"
log="$work/app.log"

fail() { echo "FAIL: $*" >&2; echo "--- application log" >&2; tail -40 "$log" >&2 || true; exit 1; }
pass() { echo "ok - $*"; }
# Waits up to 20 s for a window whose name matches; prints its id.
window() {
  local id
  for _ in $(seq 200); do
    id=$(xdotool search --onlyvisible --name "$1" 2>/dev/null | head -1 || true)
    [ -n "$id" ] && { echo "$id"; return 0; }
    sleep 0.1
  done
  return 1
}
no_window() { ! xdotool search --onlyvisible --name "$1" >/dev/null 2>&1; }
wait_log() {
  for _ in $(seq 200); do grep -q -- "$1" "$log" && return 0; sleep 0.1; done
  return 1
}
wait_file() {
  for _ in $(seq 200); do [ -e "$1" ] && return 0; sleep 0.1; done
  return 1
}
shot() { import -window root "$shots/$1.png"; }
start_app() {
  "$build/src/app/brellow" "$@" >>"$log" 2>&1 &
  app_pid=$!
}
# Clicks at a point given as fractions of a window's size.
click_in() {
  local geometry x y w h
  geometry=$(xdotool getwindowgeometry --shell "$1")
  eval "$geometry"
  x=$((X + WIDTH * $2 / 1000)); y=$((Y + HEIGHT * $3 / 1000))
  xdotool mousemove "$x" "$y" click 1
}

# --- first run: the licence gate comes before any show
start_app
gate=$(window "Brellow Licence Agreement") || fail "no agreement window"
sleep 1
no_window "— Brellow" || fail "a show window opened before agreeing"
grep -q "showWindow called" "$log" && fail "a show was shown before agreeing"
shot desktop-agreement
click_in "$gate" 865 945 # Agree, at the bottom right
wait_file "$support/agreement.json" || fail "agreeing wrote no agreement.json"
grep -q '"version":"1"' "$support/agreement.json" || fail "agreement.json: $(cat "$support/agreement.json")"
pass "the gate comes first and agreeing records version 1"

# --- the untitled show: page loaded, demo stings seeded, tour started
main=$(window "Untitled — Brellow") || fail "no untitled show after agreeing"
wait_log "JS bridge ready" || fail "the page never said ready"
wait_log "Imported 08 Pad" || fail "the tour did not seed the demonstration stings"
sleep 1.5
shot desktop-tour
xdotool windowfocus --sync "$main"
xdotool key Escape # skips the tour
wait_file "$support/onboarding.json" || fail "skipping the tour wrote no onboarding.json"
grep -q '"skipped":true' "$support/onboarding.json" || fail "onboarding.json: $(cat "$support/onboarding.json")"
pass "the page loads, seeds the demo and reports the skipped tour"

# The page knows the hotkeys only from the state snapshot it asked for: "3" firing the third
# sting is the whole round trip through real WebKitGTK.
third=$("$cli" show "$(ls -d "$XDG_DATA_HOME"/org.brellow.Brellow/Recovery/*.stingshow | head -1)" |
  python3 -c 'import json,sys; print(json.load(sys.stdin)["pages"][0]["stings"][2]["id"])') ||
  fail "the untitled show was not autosaved to the recovery folder"
xdotool key 3
wait_log "Play $third" || fail "hotkey 3 did not play the third sting"
sleep 0.5
shot desktop-show-playing
pass "a hotkey fires its sting through the engine"

# --- the settings window
xdotool key ctrl+comma
prefs=$(window "Brellow Settings") || fail "Ctrl+, opened no settings window"
sleep 1.5
shot desktop-preferences
click_in "$prefs" 865 360 # the statistics switch
for _ in $(seq 50); do [ -e "$support/telemetry.json" ] && break; sleep 0.1; done
grep -q '"enabled":true' "$support/telemetry.json" || fail "the settings switch did not turn statistics on"
xdotool key --window "$prefs" Escape || true
xdotool windowunmap "$prefs"
pass "settings show and switch statistics on"

# --- Save As from the keyboard
xdotool windowfocus --sync "$main"
xdotool key ctrl+s
chooser=$(window "Save Show") || fail "Ctrl+S on an untitled show opened no save dialog"
xdotool windowfocus --sync "$chooser"
xdotool key ctrl+a
xdotool type --delay 20 "$work/Gala"
xdotool key Return
wait_file "$work/Gala.stingshow/show.json" || fail "Save As wrote no package"
"$cli" show "$work/Gala.stingshow" >"$work/saved.json" || fail "brellow-cli cannot read the saved package"
python3 -c 'import json,sys; s=json.load(open(sys.argv[1])); assert len(s["pages"][0]["stings"]) == 8' \
  "$work/saved.json" || fail "the saved show does not hold the 8 stings"
window "Gala — Brellow" >/dev/null || fail "the window is not named after the saved package"
pass "Save As writes a package brellow-cli reads"

# --- dropping files from a file manager: audio only
sox -n -r 44100 -c 2 "$work/Knock.wav" synth 0.5 sine 220 2>/dev/null
echo "notes" >"$work/notes.txt"
drag_onto() {
  local target=$1 source source_pid geometry X Y WIDTH HEIGHT SCREEN
  shift
  # Debian's own Python, which has the GTK bindings
  /usr/bin/python3 "$here/drag_source.py" "$@" >>"$log" 2>&1 &
  source_pid=$!
  source=$(window "Drag source") || fail "the drag source did not open"
  sleep 0.5
  eval "$(xdotool getwindowgeometry --shell "$source")"
  xdotool mousemove $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) mousedown 1
  for step in 1 2 3 4 5; do xdotool mousemove $((X + WIDTH / 2 + step * 10)) $((Y + HEIGHT / 2 + step * 10)); sleep 0.05; done
  eval "$(xdotool getwindowgeometry --shell "$target")"
  for step in 1 2 3 4 5 6; do xdotool mousemove $((X + 300 + step * 20)) $((Y + 300 + step * 10)); sleep 0.1; done
  sleep 0.5
  xdotool mouseup 1
  sleep 1
  kill "$source_pid" 2>/dev/null || true
  wait "$source_pid" 2>/dev/null || true
}
gala=$(window "Gala — Brellow") || fail "lost the saved show's window"
drag_onto "$gala" "$work/Knock.wav" "$work/notes.txt"
grep -q "Drop accepted" "$log" && fail "a drag with a text file in it was taken"
drag_onto "$gala" "$work/Knock.wav"
wait_log "Drop accepted: 1 audio file(s)" || fail "dropping an audio file was not accepted"
wait_log "Imported Knock.wav" || fail "the dropped file was not imported"
sleep 1.5 # the autosave a second after the change
"$cli" show "$work/Gala.stingshow" | grep -q '"name": "Knock"' || fail "the dropped sting was not saved"
shot desktop-after-drop
pass "dropped audio files are imported and saved; mixed drags are refused"

# --- a second launch hands its file to the running program
"$cli" new "$work/Second.stingshow" --name "Second" >/dev/null
# It returns at once: the running program takes the file.
"$build/src/app/brellow" "$work/Second.stingshow" >>"$log" 2>&1 ||
  fail "the second launch failed"
window "Second — Brellow" >/dev/null || fail "the running program did not open the second show"
pass "a second launch opens its show in the running program"

# --- a damaged package: an error, nothing else opens
mkdir -p "$work/Broken.stingshow" && echo '{"pages": 3' >"$work/Broken.stingshow/show.json"
"$build/src/app/brellow" "$work/Broken.stingshow" >>"$log" 2>&1 || true
wait_log "openDocument failed" || fail "a damaged package was not reported"
error_dialog=$(window "^$" || true)
sleep 0.5
shot desktop-open-error
xdotool key Return # dismisses the error
no_window "Broken — Brellow" || fail "the damaged package opened"
pass "a damaged package is reported and opens nothing"

# --- closing every window keeps the program running
for name in "Second — Brellow" "Gala — Brellow"; do
  id=$(window "$name") || fail "lost the window $name"
  xdotool windowfocus --sync "$id"
  xdotool key ctrl+w
  for _ in $(seq 50); do no_window "$name" && break; sleep 0.1; done
  no_window "$name" || fail "Ctrl+W did not close $name"
done
sleep 0.5
kill -0 "$app_pid" 2>/dev/null || fail "the program ended with its last window"
pass "closing the last window leaves the program running"

# --- quitting, then opening the saved show again: nothing is lost
kill -TERM "$app_pid"
wait "$app_pid" || fail "the program did not end cleanly"
app_pid=""
start_app "$work/Gala.stingshow"
window "Gala — Brellow" >/dev/null || fail "the saved show did not open on the command line"
no_window "Brellow Licence Agreement" || fail "the gate came back after agreeing"
wait_log "Loaded sting" || fail "the reopened show loaded no stings"
pass "the saved show reopens from the command line"

# --- File ▸ Browse Versions…: the version before the dropped sting comes back, and the state
# it replaced is kept as a version in turn
versions_before=$("$cli" versions "$work/Gala.stingshow" | wc -l)
[ "$versions_before" -ge 1 ] || fail "saving the dropped sting kept no version"
xdotool windowfocus --sync "$(window "Gala — Brellow")"
# The menu's action, through the bus the application is registered on; it returns when the
# dialog it opens is answered.
gdbus call --session --dest org.brellow.Brellow --object-path /org/brellow/Brellow \
  --method org.gtk.Actions.Activate browse-versions [] {} >/dev/null 2>&1 &
browser=$(window "Versions of") || fail "Browse Versions… opened no dialog"
sleep 1
shot desktop-versions
click_in "$browser" 930 960 # Restore, at the bottom right; the newest is selected
for _ in $(seq 50); do
  [ "$("$cli" versions "$work/Gala.stingshow" | wc -l)" -gt "$versions_before" ] && break
  sleep 0.1
done
[ "$("$cli" versions "$work/Gala.stingshow" | wc -l)" -gt "$versions_before" ] ||
  fail "restoring kept no version of the state it replaced"
"$cli" show "$work/Gala.stingshow" | grep -q '"name": "Knock"' &&
  fail "the restored version still holds the sting dropped after it"
pass "Browse Versions… restores a version and keeps the replaced state"

# --- without its pages the window stays blank, and the program keeps going
kill -TERM "$app_pid"
wait "$app_pid" || fail "the program did not end cleanly"
app_pid=""
BRELLOW_RESOURCES="$work/no-such-folder" start_app "$work/Gala.stingshow"
window "Gala — Brellow" >/dev/null || fail "no window without the pages"
wait_log "index.html not found in Resources/Web" || fail "the missing page was not logged"
sleep 0.5
kill -0 "$app_pid" 2>/dev/null || fail "the program ended without its pages"
pass "missing pages leave a blank window and a log line"

# --- a show whose folder can no longer be written: the window says so, and the session's end
# keeps a recovery copy that the next start offers back
kill -TERM "$app_pid"
wait "$app_pid" || fail "the program did not end cleanly"
app_pid=""
mkdir -p "$work/stick"
if mount -t tmpfs -o size=16m tmpfs "$work/stick" 2>/dev/null; then
  "$cli" resave "$work/Gala.stingshow" "$work/stick/Tour.stingshow" || fail "could not copy the show"
  knocks_before=$("$cli" show "$work/stick/Tour.stingshow" | grep -c '"name": "Knock"' || true)
  start_app "$work/stick/Tour.stingshow"
  tour=$(window "Tour — Brellow") || fail "the show on the stick did not open"
  wait_log "JS bridge ready" || fail "the page never said ready"
  mount -o remount,ro "$work/stick"
  xdotool windowfocus --sync "$tour"
  xdotool key ctrl+s
  error_dialog=$(window "^$" || true)
  wait_log "Read-only file system" || fail "the failed save was not reported"
  xdotool key Return # dismisses the error
  window "Tour — not saved — Brellow" >/dev/null && fail "an explicit Save is not an autosave"
  drag_onto "$tour" "$work/Knock.wav" # an edit that autosave cannot save
  window "Tour — not saved — Brellow" >/dev/null || fail "the window does not say the show is not saved"
  shot desktop-not-saved
  kill -TERM "$app_pid"
  wait "$app_pid" || fail "the program did not end cleanly"
  app_pid=""
  origin=$(ls "$XDG_DATA_HOME"/org.brellow.Brellow/Recovery/*.stingshow.origin 2>/dev/null | head -1)
  [ -n "$origin" ] || fail "no recovery copy was kept for the titled show"
  [ "$(cat "$origin")" = "$work/stick/Tour.stingshow" ] || fail "the recovery note says $(cat "$origin")"
  knocks_after=$("$cli" show "${origin%.origin}" | grep -c '"name": "Knock"' || true)
  [ "$knocks_after" -gt "$knocks_before" ] || fail "the recovery copy lacks the unsaved edit"
  umount "$work/stick"
  start_app
  # The only window the program shows before the offer is answered.
  offer=""
  for _ in $(seq 100); do
    offer=$(xdotool search --onlyvisible --pid "$app_pid" 2>/dev/null | tail -1 || true)
    [ -n "$offer" ] && break
    sleep 0.1
  done
  [ -n "$offer" ] || fail "the next start offered nothing"
  sleep 1
  shot desktop-recovery-offer
  click_in "$offer" 750 860 # Reopen, at the bottom right
  window "Tour .recovered. — Brellow" >/dev/null || fail "the recovery copy was not reopened"
  pass "an unsaveable show says so, and the session's end keeps it for the next start"
else
  echo "skip - cannot mount a tmpfs here (needs root)"
fi
echo "desktop tests passed"
