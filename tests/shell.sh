# What the end-to-end tests share; sourced by each, called as: TEST BUILD-DIRECTORY
# shellcheck shell=bash disable=SC2034
set -uo pipefail
unset CVSROOT CVS_CLIENT_LOG CVS_GNU_CLIENT CVS_PASSFILE CVS_RSH
export TERM=xterm # one with colours
build=$(cd "$1" && pwd)
sources=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
scchost=$build/scchost
failures=0
output=

scratch=$(mktemp -d)
clean() { chmod -R u+w "$scratch" && rm -rf "$scratch"; }
trap clean EXIT
export HOME=$scratch/home
mkdir "$HOME"

skip() {
  printf 'SKIPPED: %s\n' "$*"
  exit 77
}

fail() {
  failures=$((failures + 1))
  printf 'FAILED: line %s: %s\n' "${BASH_LINENO[${#BASH_LINENO[@]} - 2]}" "$*"
}

# run STATUS COMMAND...: the command has to end with the status; keeps what it prints in $output.
run() {
  local wanted=$1 status
  shift
  output=$("$@" 2>&1 </dev/null)
  status=$?
  [ "$status" -eq "$wanted" ] || fail "$* ended with $status instead of $wanted: $output"
}

# holds TEXT...: what the last command printed has to hold each text.
holds() {
  local text
  for text in "$@"; do
    case $output in
      *"$text"*) ;;
      *) fail "no '$text' in: $output" ;;
    esac
  done
}

# equal WANTED FOUND
equal() { [ "$1" = "$2" ] || fail "found '$2' instead of '$1'"; }

finish() { exit $((failures > 0)); }
