#!/usr/bin/env bash
# brellow-cli's bash completion, driven as bash does it on Tab: commands, each command's
# options, edit names in the right position, and no options offered where a value is expected.
# Usage: completion_test.sh
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck disable=SC1091
source /usr/share/bash-completion/bash_completion || { echo "FAIL: bash-completion is not installed" >&2; exit 1; }
# shellcheck disable=SC1091
source "$here/../../resources/linux/brellow-cli.bash-completion"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/Gala.stingshow" "$work/Other"
touch "$work/take.wav"
cd "$work" || exit 1

failures=0
# complete "WORDS..." EXPECTED...: completes the last word and wants exactly EXPECTED (sorted).
expect() {
  local line=$1
  shift
  read -r -a COMP_WORDS <<<"$line"
  [[ $line == *" " ]] && COMP_WORDS+=("")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMP_LINE=$line
  COMP_POINT=${#line}
  COMPREPLY=()
  _brellow_cli brellow-cli "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
  local got want
  got=""
  [[ ${#COMPREPLY[@]} -gt 0 ]] && got=$(printf '%s\n' "${COMPREPLY[@]}" | sed 's|/$||' | sort | tr '\n' ' ')
  want=$(printf '%s\n' "$@" | sort | tr '\n' ' ')
  [[ $# -eq 0 ]] && want=""
  if [[ $got == "$want" ]]; then
    echo "ok - '$line' -> $got"
  else
    echo "FAIL: '$line' offered [$got], wanted [$want]" >&2
    failures=$((failures + 1))
  fi
}

expect "brellow-cli re" render resave
expect "brellow-cli --verbose ch" check-updates
expect "brellow-cli --" --verbose --help --version
expect "brellow-cli new Gala.stingshow --" --name --demo
expect "brellow-cli render Gala.stingshow out.wav --" --duration --rate
expect "brellow-cli check-updates --" --feed --version --channel --timeout
expect "brellow-cli edit Gala.stingshow set" setTrim setLoop setFade setHotkey setSoloMode setActivePage
expect "brellow-cli edit G" Gala.stingshow
expect "brellow-cli render Gala.stingshow t" take.wav
expect "brellow-cli tone --freq "
expect "brellow-cli new --name "
expect "brellow-cli show Gala.stingshow "
expect "brellow-cli resave Gala.stingshow O" Other
expect "brellow-cli bootstrap --"

[ "$failures" -eq 0 ] || exit 1
echo "bash completion: all checks passed"
