#!/usr/bin/env bash
# The Debian package as a packager and a user meet it: cpack makes the .deb from an existing
# build; its contents sit in the FHS paths; Depends come from the linked libraries; the desktop
# entry and manual pages are well-formed; and the unpacked tree runs from a temporary prefix
# with the source tree's resources hidden, so it can only work with what the package carries.
# Usage: deb_test.sh BUILD_DIR
set -euo pipefail
build=$(cd "${1:?usage: deb_test.sh BUILD_DIR}" && pwd)
source_dir=$(cd "$(dirname "$0")/../.." && pwd)

work=$(mktemp -d)
serve_pid=""
cleanup() {
  [ -n "$serve_pid" ] && kill "$serve_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }
pass() { echo "ok - $*"; }

cmake --build "$build" --target brellow brellow-cli brellow_man_pages >/dev/null
(cd "$build" && cpack -G DEB -B "$work/package" >"$work/cpack.log" 2>&1) ||
  { cat "$work/cpack.log" >&2; fail "cpack -G DEB"; }
deb=$(find "$work/package" -maxdepth 1 -name 'brellow_*.deb' | head -1)
[ -n "$deb" ] || fail "no .deb in $work/package"
pass "cpack made $(basename "$deb")"

# Contents: everything under /usr, in the expected places, and nothing of the build's own.
dpkg-deb -c "$deb" | sed -E 's/^([^ ]+ +){5}//; s|^\./|/|' >"$work/contents"
for path in /usr/bin/brellow /usr/bin/brellow-cli \
  /usr/share/brellow/Web/index.html /usr/share/brellow/Web/EULA.html \
  /usr/share/brellow/Web/preferences.html \
  /usr/share/applications/org.brellow.Brellow.desktop \
  /usr/share/mime/packages/org.brellow.Brellow.xml \
  /usr/share/icons/hicolor/scalable/apps/org.brellow.Brellow.svg \
  /usr/share/man/man1/brellow.1.gz /usr/share/man/man1/brellow-cli.1.gz \
  /usr/share/bash-completion/completions/brellow-cli; do
  grep -qx -- "$path" "$work/contents" || fail "the package lacks $path"
done
demo_count=$(grep -c '^/usr/share/brellow/Demo/.*\.m4a$' "$work/contents" || true)
[ "$demo_count" -eq "$(find "$source_dir/resources/Demo" -name '*.m4a' | wc -l)" ] ||
  fail "the package carries $demo_count demo stings"
if grep -v '^/usr\(/\|$\)' "$work/contents" | grep -qvx '/'; then
  fail "files outside /usr: $(grep -v '^/usr' "$work/contents" | grep -vx '/' | head -3)"
fi
if grep -Eq '(/include/|\.a$|_tests$|_bench$|/usr/local)' "$work/contents"; then
  fail "build files in the package: $(grep -E '(/include/|\.a$|_tests$|_bench$)' "$work/contents" | head -3)"
fi
pass "contents in FHS paths"

# Control fields: Depends worked out from the linked libraries, plus what is loaded at run time.
depends=$(dpkg-deb -f "$deb" Depends)
for library in libc6 libstdc++6 libglib2.0-0 libgtk-3-0 libwebkit2gtk-4.1-0 libsoup-3.0-0 \
  librtaudio6 libsndfile1 libavformat59 glib-networking; do
  grep -q "\b$library\b" <<<"$depends" || fail "Depends lacks $library: $depends"
done
[ "$(dpkg-deb -f "$deb" Architecture)" = "$(dpkg --print-architecture)" ] || fail "Architecture"
version=$(dpkg-deb -f "$deb" Version)
pass "Depends: $depends"

dpkg-deb -x "$deb" "$work/root"
desktop-file-validate "$work/root/usr/share/applications/org.brellow.Brellow.desktop" ||
  fail "desktop entry"
for page in brellow brellow-cli; do
  warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -l "$work/root/usr/share/man/man1/$page.1.gz" 2>&1 >/dev/null)
  [ -z "$warnings" ] || fail "man page $page: $warnings"
done
pass "desktop entry and manual pages are well-formed"

# The unpacked tree, run with the source's resources hidden behind an empty tmpfs (a private
# mount namespace, so nothing else on the machine sees it).
cat >"$work/run_installed.sh" <<'INNER'
set -euo pipefail
root=$1 work=$2 version=$3 resources=$4
mount -t tmpfs brellow-hidden "$resources"
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/config" XDG_DATA_HOME="$work/home/data"
export XDG_CACHE_HOME="$work/home/cache" BRELLOW_LOG=stderr
mkdir -p "$HOME"
bin="$root/usr/bin"
fail() { echo "FAIL: $*" >&2; exit 1; }

[ "$("$bin/brellow-cli" --version)" = "brellow-cli $version" ] || fail "brellow-cli --version"
[ "$("$bin/brellow" --version)" = "brellow $version" ] || fail "brellow --version"
"$bin/brellow" --help | grep -q -- '--serve' || fail "brellow --help does not mention --serve"

"$bin/brellow-cli" new "$work/Gala.stingshow" --demo >/dev/null || fail "brellow-cli new --demo"
stings=$("$bin/brellow-cli" show "$work/Gala.stingshow" | grep -c '"mediaFilename"' || true)
[ "$stings" -eq "$(find "$root/usr/share/brellow/Demo" -name '*.m4a' | wc -l)" ] ||
  fail "the installed demo stings were not found ($stings stings in the new show)"
echo "ok - installed brellow-cli made a show with $stings demo stings"

port=$((20000 + RANDOM % 20000))
"$bin/brellow" --serve "$work/Gala.stingshow" --listen "127.0.0.1:$port" >"$work/serve.out" 2>"$work/serve.err" &
pid=$!
address=""
for _ in $(seq 100); do
  address=$(grep -o 'http://[^ ]*' "$work/serve.out" || true)
  [ -n "$address" ] && break
  sleep 0.1
done
[ -n "$address" ] || { cat "$work/serve.err" >&2; kill $pid; fail "brellow --serve printed no address"; }
page=$(curl -sf -L -c "$work/cookies" -b "$work/cookies" "$address") || { kill $pid; fail "fetching $address"; }
kill -TERM $pid
wait $pid || fail "brellow --serve did not stop cleanly on SIGTERM"
grep -qi '<html' <<<"$page" || fail "the installed page was not served"
echo "ok - installed brellow --serve served its page"
INNER
if [ "$(id -u)" -eq 0 ] && unshare -m true 2>/dev/null; then
  unshare -m bash "$work/run_installed.sh" "$work/root" "$work" "$version" "$source_dir/resources"
else
  echo "skip - hiding the source resources needs root; running the unpacked tree beside them"
  sed -i '/^mount -t tmpfs/d' "$work/run_installed.sh"
  bash "$work/run_installed.sh" "$work/root" "$work" "$version" "$source_dir/resources"
fi
echo "Debian package: all checks passed"
