#!/usr/bin/env bash
# Installs the Debian packages Brellow needs to build, run and test.
# Idempotent: packages already present are left alone, and apt is not touched when nothing
# is missing. Works as root or through sudo.
set -euo pipefail

packages=(
  # toolchain and checks
  build-essential cmake ninja-build pkg-config git
  clang clang-format clang-tidy libclang-rt-14-dev
  # libraries
  libglib2.0-dev libsystemd-dev nlohmann-json3-dev uuid-dev
  # update checking: HTTPS and XML
  libsoup-3.0-dev libxml2-dev glib-networking
  # audio: device output, files, resampling (all three resamplers for the comparison benchmark)
  # (JACK 2: jackd2 replaces JACK 1, so its development files are named too)
  librtaudio-dev libjack-jackd2-dev libasound2-dev libpulse-dev libsndfile1-dev libsoxr-dev libsamplerate0-dev libspeexdsp-dev
  # import: FFmpeg decoding
  libavformat-dev libavcodec-dev libswresample-dev libavutil-dev
  # audio tests: a real sound server with a null sink, a JACK server on its dummy back end,
  # and independent tools that make and check audio files
  pulseaudio pulseaudio-utils jackd2 sox libsox-fmt-all ffmpeg
  # the desktop application: GTK 3 windows and menus, the WebKitGTK page host, the package
  # type's registration
  libgtk-3-dev libwebkit2gtk-4.1-dev shared-mime-info desktop-file-utils
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev
  # packaging: Depends of the .deb (dpkg-shlibdeps), manual pages, brellow-cli's completion
  dpkg-dev man-db bash-completion
  # the application and the page under test: a virtual display, screenshots, and Chromium
  # driven by playwright-core
  xvfb xauth x11-utils xdotool imagemagick dbus python3-gi gir1.2-gtk-3.0 chromium
)

# Node runs the page-side scripts in tests; any recent one will do, so keep one already there.
command -v node >/dev/null 2>&1 || packages+=(nodejs)
command -v npm >/dev/null 2>&1 || packages+=(npm)

missing=()
for pkg in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

if [ "$(id -u)" -eq 0 ]; then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "install-deps: need root or sudo to install: ${missing[*]}" >&2
  exit 1
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
