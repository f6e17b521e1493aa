# Shared set-up for the scripts that drive the desktop application under Xvfb: a display, a
# private home, a log, and helpers to wait for windows and log lines. Source it after setting
# `build` (the build directory); it defines `work`, `log`, `cli` and starts Xvfb.
# Each script runs inside its own session bus (dbus-run-session) so that the application's
# single-instance handling sees only the instances the test starts.

work=$(mktemp -d)
xvfb_pid=""
app_pids=()
cleanup() {
  for pid in "${app_pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  [ -n "$xvfb_pid" ] && kill "$xvfb_pid" 2>/dev/null || true
  sleep 0.5 # the web processes of a killed application leave their caches
  rm -rf "$work" 2>/dev/null || true
}
trap cleanup EXIT

exec {display_fd}<> <(:)
Xvfb -displayfd "$display_fd" -screen 0 1920x1200x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
xvfb_pid=$!
read -r -t 10 number <&"$display_fd"
export DISPLAY=":$number"

export HOME="$work/home" XDG_CONFIG_HOME="$work/home/config" XDG_CACHE_HOME="$work/home/cache"
export XDG_DATA_HOME="$work/home/data" BRELLOW_LOG=stderr
export BRELLOW_UPDATE_FEED="http://127.0.0.1:9/appcast.xml" # nothing listens: checks fail fast
export NO_AT_BRIDGE=1
mkdir -p "$HOME"
support="$XDG_CONFIG_HOME/org.brellow.Brellow"
cli="$build/src/cli/brellow-cli"
log="$work/app.log"

fail() { echo "FAIL: $*" >&2; echo "--- application log" >&2; tail -40 "$log" >&2 || true; exit 1; }
pass() { echo "ok - $*"; }

# Starts the application with the given arguments; its pid is in app_pid.
start_app() {
  "$build/src/app/brellow" "$@" >>"$log" 2>&1 &
  app_pid=$!
  app_pids+=("$app_pid")
}
# Waits up to 20 s for a visible window whose name matches; prints its id.
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
# Waits up to $2 seconds (default 10) for process $1 (started by this shell) to end and sets
# exit_status to its status; fails when it is still running.
wait_exit() {
  local pid=$1 limit=${2:-10}
  for _ in $(seq $((limit * 10))); do
    if ! kill -0 "$pid" 2>/dev/null; then
      exit_status=0
      wait "$pid" || exit_status=$?
      return 0
    fi
    sleep 0.1
  done
  return 1
}
# Clicks at a point given as thousandths of a window's size.
click_in() {
  local geometry X Y WIDTH HEIGHT
  geometry=$(xdotool getwindowgeometry --shell "$1")
  eval "$geometry"
  xdotool mousemove $((X + WIDTH * $2 / 1000)) $((Y + HEIGHT * $3 / 1000)) click 1
}
