# What the end-to-end tests share; sourced by each, called as TEST BUILD-DIRECTORY [SCENARIO]
# shellcheck shell=bash
set -uo pipefail
unset CVSROOT CVS_CLIENT_LOG CVS_GNU_CLIENT CVS_PASSFILE CVS_RSH
export TERM=xterm # one with colours
build=$(cd "${1:?usage: TEST BUILD-DIRECTORY [SCENARIO]}" && pwd) || exit
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

# Tells the innermost line of the test itself.
fail() {
  local frame=0
  while [ "${BASH_SOURCE[frame]}" != "$0" ]; do frame=$((frame + 1)); done
  failures=$((failures + 1))
  printf 'FAILED: line %s: %.3000s\n' "${BASH_LINENO[frame - 1]}" "$*"
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
  for text in "$@"; do [[ $output = *"$text"* ]] || fail "no '$text' in: $output"; done
}

# equal WANTED FOUND
equal() { [ "$1" = "$2" ] || fail "found '$2' instead of '$1'"; }

# A script has a function for each scenario, whose name begins with "it_" and tells what must hold.
# It is called as TEST BUILD-DIRECTORY [SCENARIO], and ends with: run_scenarios "$@".
run_scenarios() {
  local scenario
  command -v cvs >/dev/null || skip "there is no cvs client on this machine"
  if [ -n "${2-}" ]; then
    declare -F "$2" >/dev/null || fail "there is no scenario $2"
    cd "$scratch" && "$2"
    exit $((failures > 0))
  fi
  while read -r scenario; do
    "$0" "$1" "$scenario" || [ $? -eq 77 ] || failures=1
  done < <(sed -n 's/^\(it_[a-z_]*\)() {.*/\1/p' "$0")
  exit "$failures"
}

# Makes $scratch/repository, to which CVSROOT leads by the method that is given, and the working
# copies $ann and $bob, as copies of a tree that is prepared once.
take_tree() {
  local prepared=$build/preparedTree
  (
    flock 9
    [ "$prepared" -nt "$sources/tests/shell.sh" ] || prepare_tree "$prepared"
  ) 9>"$prepared.lock"
  export CVSROOT=${1-}$scratch/repository
  ann=$scratch/ann bob=$scratch/bob
  chmod -R u+w "$scratch"
  rm -rf "$scratch/repository" "$ann" "$bob"
  cp -a "$prepared/." "$scratch"
  find "$ann" "$bob" -path '*/CVS/Root' -exec sed -i "s|.*|$CVSROOT|" {} +
}

prepare_tree() {
  local repository=$1/repository
  rm -rf "$1"
  mkdir -p "$1" "$scratch/import/docs/deep"
  cvs -d "$repository" init
  printf '%s\n' 1 2 3 |
    (cd "$scratch/import" && tee a.c b.c c.c d.c docs/f.txt docs/deep/g.txt >/dev/null)
  seq 9 >"$scratch/import/e.c"
  printf '\0\1\n' >"$scratch/import/logo.png"
  (cd "$scratch/import" && cvs -Q -d "$repository" import -W "*.png -k 'b'" -m first tool vendor start)
  (cd "$1" && for copy in ann bob; do cvs -Q -d "$repository" checkout -d $copy tool; done)
}

# does DIRECTORY COMMAND: runs a shell command there.
does() { (cd "$1" && eval "$2") >"$scratch/did" 2>&1 </dev/null || fail "'$2' failed: $(cat "$scratch/did")"; }

in_ann() { run "$1" "$scchost" -C "$ann" "${@:2}"; }
in_bob() { run "$1" "$scchost" -C "$bob" "${@:2}"; }

# program NAME TEXT: makes a shell script in the scratch directory.
program() { printf '#!/bin/sh\n%s\n' "$2" >"$scratch/$1" && chmod +x "$scratch/$1"; }

# lines FILE: its lines, with a blank between them.
lines() { paste -sd ' ' -- "$1"; }
