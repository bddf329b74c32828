#!/usr/bin/env bash
# The same tour with the real client, whichever way leads to the repository:
# remoteTest.sh BUILD-DIRECTORY local|fork|password|ssh|shared-ssh
# shellcheck source-path=SCRIPTDIR source=shell.sh
. "$(dirname "$0")/shell.sh"
# shellcheck source=../servers/passwordServer.sh
. "$sources/servers/passwordServer.sh"
# shellcheck source=sshServer.sh
. "$(dirname "$0")/sshServer.sh"
command -v cvs >/dev/null || skip "there is no cvs client on this machine"
unset CVS_PASSFILE CVS_SERVER
trap 'close_shared_ssh; stop_server; clean' EXIT

repository=$scratch/repository
ann=$scratch/ann bob=$scratch/bob
cvs -d "$repository" init

# shellcheck disable=SC2317 # "run" calls it
host() { timeout 60 "$scchost" --edit "$@"; }
# shellcheck disable=SC2317
log_in() { printf '%s\n' "$2" | host --root "$1" login; }
# The lines of a file, a blank between them.
lines() { paste -sd ' ' "$1"; }

case $2 in
  local) CVSROOT=$repository ;;
  fork) CVSROOT=:fork:$repository ;;
  password)
    chmod a+x "$scratch" # for the server, which is not run by root
    export password='Zw0lf Bögen$'
    start_password_server "$repository" ann "$password" guest '' 2>"$scratch/reason" ||
      skip "$(cat "$scratch/reason")"
    CVSROOT=$server_root
    ;;
  ssh | shared-ssh)
    start_ssh_server "$scratch/ssh" "$repository" 2>"$scratch/reason" || skip "$(cat "$scratch/reason")"
    [ "$2" = ssh ] || share_ssh_connection
    CVSROOT=$ssh_root
    ;;
  *)
    echo "there is no way called $2" >&2
    exit 2
    ;;
esac
export CVSROOT

if [ "$2" = password ]; then
  guest_root=${CVSROOT/ann/guest}
  run 1 log_in "$CVSROOT" wrong
  holds 'authorization failed: server 127.0.0.1 rejected access' 'for user ann'
  run 1 host ls
  run 0 log_in "$guest_root" ''
  run 0 host --root "$guest_root" ls
  run 1 log_in "$guest_root" "$password"
  equal 1 "$(grep -c . "$HOME/.cvspass")"
  equal '' "$("$build/cvs-gnu" -d "$guest_root" login -p '' 2>&1 >"$scratch/login")"
  # On a terminal, which the client must not read.
  export scchost
  # shellcheck disable=SC2016 # for the shell that runs it
  printf '%s\n' 'printf "%s\n" "$password" | "$scchost" login' >"$scratch/onTerminal"
  run 0 timeout 30 script -qec "sh '$scratch/onTerminal'" /dev/null
  holds "logged in to $CVSROOT"
fi

# A project of its own, in two working copies; the first command opens the shared connection, and
# must not wait for it to close.
run 0 host mkdir lib
run 0 host mkdir lib/tool
[ "$2" != shared-ssh ] || run 0 "$CVS_RSH" -O check 127.0.0.1
run 0 host checkout "$ann" lib/tool
mkdir -p "$ann/docs/user guide"
printf '%s\n' 1 2 3 4 5 | tee "$ann/main.c" "$ann/util.c" >"$ann/docs/user guide/start.txt"
run 0 host -C "$ann" add -m 'The first "version"' main.c util.c 'docs/user guide/start.txt'
run 0 env -C "$scratch" cvs -Q checkout -d bob lib/tool
equal '1 2 3 4 5' "$(lines "$bob/docs/user guide/start.txt")"

# Several files are one command, and so one commit.
(cd "$ann" && for file in main.c util.c; do echo 6 >>"$file"; done)
run 0 host -C "$ann" commit -m Six main.c util.c
run 0 cvs -q rlog -N -r1.2 lib/tool
equal 2 "$(grep -c '^revision 1.2$' <<<"$output")"
equal 1 "$(grep -o 'commitid: [^;]*' <<<"$output" | sort -u | wc -l)"

# A commit is refused in the client's words and takes nothing from the file; an update merges.
sed -i 's/^1/one/' "$bob/main.c"
run 1 host -C "$bob" commit -m Mine main.c 'docs/user guide/start.txt'
holds 'commit failed; cvs commit said:' "Up-to-date check failed for \`main.c'"
equal 'one 2 3 4 5' "$(lines "$bob/main.c")"
run 0 host -C "$bob" status
equal $'Needs Merge\t1.1\t1.2\t\tmain.c
Needs Patch\t1.1\t1.2\t\tutil.c
Up-to-date\t1.1\t1.1\t\tdocs/user guide/start.txt' "$output"
run 0 host -C "$bob" update
equal 'one 2 3 4 5 6' "$(lines "$bob/main.c")"
equal '1 2 3 4 5 6' "$(lines "$bob/util.c")"
run 0 host -C "$bob" commit -m Mine main.c

# Old revisions leave the working file alone.
run 0 host -C "$bob" cat -r 1.2 main.c
equal '1 2 3 4 5 6' "$(lines - <<<"$output")"
run 0 host -C "$bob" cat -r 1.1 -o "$scratch/old" main.c
equal '1 2 3 4 5' "$(lines "$scratch/old")"
equal 'one 2 3 4 5 6' "$(lines "$bob/main.c")"

# An edit is seen, and what was changed meanwhile goes only when that is said.
run 0 host -C "$bob" edit util.c 'docs/user guide/start.txt'
run 0 host -C "$bob" status util.c docs
equal $'Up-to-date\t1.2\t1.2\tedited\tutil.c
Up-to-date\t1.1\t1.1\tedited\tdocs/user guide/start.txt' "$output"
echo 7 >>"$bob/util.c"
run 1 host -C "$bob" unedit util.c
equal '1 2 3 4 5 6 7' "$(lines "$bob/util.c")"
run 0 host -C "$bob" unedit --revert util.c
equal '1 2 3 4 5 6' "$(lines "$bob/util.c")"
run 0 host -C "$bob" unedit 'docs/user guide/start.txt'
equal rw "$(stat -c %A "$bob/docs/user guide/start.txt" | cut -c 2-3)"
run 0 host -C "$bob" status util.c docs
equal $'Up-to-date\t1.2\t1.2\t\tutil.c
Up-to-date\t1.1\t1.1\t\tdocs/user guide/start.txt' "$output"

run 0 host ls lib/tool
equal $'main.c\nutil.c' "$output"
run 0 host ls -d lib/tool
equal docs "$output"
if [ "$2" = password ]; then
  equal '' "$(grep -rlF "$password" "$scratch")"
  run 0 host logout
  run 1 host ls
fi
finish
