#!/usr/bin/env bash
# The provider and the adapter for the GNU client against a password server.
# shellcheck source-path=SCRIPTDIR source=shell.sh
. "$(dirname "$0")/shell.sh"
# shellcheck source=passwordServer.sh
. "$(dirname "$0")/passwordServer.sh"
trap 'stop_server; clean' EXIT

password='Zw0lf Bögen$'
repository=$scratch/repository
work=$scratch/work
chmod a+x "$scratch" # for the server, which is not run by root
cvs -d "$repository" init
mkdir "$scratch/import" && cd "$scratch/import" || exit
printf 'one\n' >first.txt
printf 'two\n' >'second file'
cvs -Q -d "$repository" import -m start box vendor start
cd "$scratch" || exit
start_password_server "$repository" ann "$password" guest '' 2>"$scratch/reason" ||
  skip "$(cat "$scratch/reason")"
guest_root=${server_root/ann/guest}

client=$sources/client/cvs-gnu
# shellcheck disable=SC2317 # "run" calls them
host() { timeout 30 "$scchost" --client "$client" "$@"; }
# shellcheck disable=SC2317
log_in() { printf '%s\n' "$2" | host --root "$1" login; }
# What a file holds, and whether its owner may write to it.
state() { printf '%s %.3s\n' "$(cat "$work/$1")" "$(stat -c %A "$work/$1")"; }

run 1 log_in "$server_root" wrong
holds 'authorization failed: server 127.0.0.1 rejected access' 'for user ann'
run 1 host --root "$server_root" ls box
run 0 log_in "$guest_root" ''
run 0 host --root "$guest_root" ls box
run 1 log_in "$guest_root" "$password"
equal 1 "$(grep -c . "$HOME/.cvspass")"
equal '' "$("$client" -d "$guest_root" login -p '' 2>&1 >"$scratch/login")"

# On a terminal, which the client must not read.
export scchost client server_root password
# shellcheck disable=SC2016 # for the shell that runs it
printf '%s\n' 'printf "%s\n" "$password" | "$scchost" --client "$client" --root "$server_root" login' \
  >"$scratch/onTerminal"
run 0 timeout 30 script -qec "sh '$scratch/onTerminal'" /dev/null
holds "logged in to $server_root"
run 0 host --root "$server_root" ls box
equal $'first.txt\nsecond file' "$output"

run 0 host --root "$server_root" checkout "$work" box
equal one "$(cat "$work/first.txt")"
run 0 host -C "$work" --edit edit first.txt 'second file'
printf 'more\n' | tee -a "$work/first.txt" >>"$work/second file"
run 0 host -C "$work" --edit status
equal $'Locally Modified\t1.1.1.1\t1.1.1.1\tedited\tfirst.txt
Locally Modified\t1.1.1.1\t1.1.1.1\tedited\tsecond file' "$output"

run 0 host -C "$work" commit -m 'More of it' first.txt
equal $'one\nmore' "$(cvs -Q -d "$repository" checkout -p box/first.txt)"
printf '%s\n' "setRoots '$work'" "undoCheckout 'second file' false" >"$scratch/script"
run 0 host -C "$work" run "$scratch/script"
equal 'two -rw' "$(state 'second file')"
run 0 host -C "$work" --edit edit first.txt
printf 'not this\n' >>"$work/first.txt"
run 0 host -C "$work" --edit unedit --revert first.txt
equal $'one\nmore' "$(cat "$work/first.txt")"
run 0 host -C "$work" --edit status
equal $'Up-to-date\t1.2\t1.2\t\tfirst.txt
Up-to-date\t1.1.1.1\t1.1.1.1\t\tsecond file' "$output"

equal '' "$(grep -rlF "$password" "$scratch")"
run 0 host --root "$server_root" logout
run 1 host -C "$work" status
finish
