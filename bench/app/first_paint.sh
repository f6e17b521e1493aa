#!/usr/bin/env bash
# Launch to first paint of a show window holding 100 stings, under Xvfb: the time from starting
# brellow with the package to the web view's first finished load, and to the page saying it is
# ready. Five launches; prints each and the median. Usage: first_paint.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: first_paint.sh BUILD_DIR}" && pwd)
if [ -z "${BRELLOW_BENCH_SESSION:-}" ]; then
  export BRELLOW_BENCH_SESSION=1
  exec dbus-run-session -- "$0" "$@"
fi
work=$(mktemp -d)
xvfb_pid=""
trap 'kill $xvfb_pid 2>/dev/null || true; pkill -x brellow 2>/dev/null || true; rm -rf "$work"' EXIT
exec {display_fd}<> <(:)
Xvfb -displayfd "$display_fd" -screen 0 1920x1200x24 -nolisten tcp >/dev/null 2>&1 &
xvfb_pid=$!
read -r -t 10 number <&"$display_fd"
export DISPLAY=":$number" HOME="$work/home" XDG_CONFIG_HOME="$work/home/config"
export XDG_CACHE_HOME="$work/home/cache" XDG_DATA_HOME="$work/home/data" BRELLOW_LOG=stderr
export BRELLOW_UPDATE_FEED="http://127.0.0.1:9/appcast.xml" NO_AT_BRIDGE=1

cli="$build/src/cli/brellow-cli"
show="$work/Hundred.stingshow"
"$cli" new "$show" --demo >/dev/null
demo=$(dirname "$0")/../../resources/Demo
for _ in $(seq 12); do "$cli" import "$show" "$demo" >/dev/null; done
count=$("$cli" show "$show" | python3 -c 'import json,sys; print(sum(len(p["stings"]) for p in json.load(sys.stdin)["pages"]))')
support="$XDG_CONFIG_HOME/org.brellow.Brellow"
mkdir -p "$support"
echo '{"acceptedAt":1700000000,"version":"1"}' >"$support/agreement.json"
echo '{"completed":true,"skipped":false,"version":"1"}' >"$support/onboarding.json"

ms() { echo $((($(date +%s%N) - $1) / 1000000)); }
paints=()
readies=()
for run in 1 2 3 4 5; do
  start=$(date +%s%N)
  paint=""
  ready=""
  coproc APP { exec "$build/src/app/brellow" "$show" 2>&1; }
  while IFS= read -r -t 20 line <&"${APP[0]}"; do
    case "$line" in
      *"WebView first paint complete"*) paint=$(ms "$start") ;;
      *"JS bridge ready"*) ready=$(ms "$start"); break ;;
    esac
  done
  kill "$APP_PID" 2>/dev/null || true
  wait "$APP_PID" 2>/dev/null || true
  [ -n "$paint" ] && [ -n "$ready" ] || { echo "first_paint: run $run did not finish" >&2; exit 1; }
  echo "  run $run: first paint ${paint} ms, page ready ${ready} ms"
  paints+=("$paint")
  readies+=("$ready")
done
median() { printf '%s\n' "$@" | sort -n | sed -n 3p; }
echo "first_paint: $count stings; median first paint $(median "${paints[@]}") ms," \
  "median page ready $(median "${readies[@]}") ms (target: under 1500 ms)"
