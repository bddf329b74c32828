#!/usr/bin/env bash
# The same tour with the real client, whichever way leads to the repository.
. "$(dirname "$0")/shell.sh"
# shellcheck source=../servers/passwordServer.sh
. "$sources/servers/passwordServer.sh"
trap 'stop_server; clean' EXIT
export scchost password='Zw0lf Bögen$'

# host STATUS WORD...
host() { run "$1" timeout 60 "$scchost" --edit "${@:2}"; }

cvs -d "$scratch/repository" init
# tour ROOT
tour() {
  export CVSROOT=$1
  ann=$scratch/ann bob=$scratch/bob
  host 0 mkdir lib/tool
  host 0 checkout "$ann" lib/tool
  mkdir "$ann/user guide"
  printf '%s\n' 1 2 3 4 5 | tee "$ann/main.c" "$ann/util.c" >"$ann/user guide/start.txt"
  host 0 -C "$ann" add -m 'The first "version"' main.c util.c 'user guide/start.txt'
  does "$scratch" 'cvs -Q checkout -d bob lib/tool'
  does "$ann" 'echo 6 | tee -a main.c >>util.c'
  host 0 -C "$ann" commit
  # A commit is refused in the client's words and takes nothing from the file; an update merges.
  sed -i 's/^1/one/' "$bob/main.c"
  host 1 -C "$bob" commit main.c 'user guide/start.txt'
  holds 'commit failed; cvs commit said:' "Up-to-date check failed for \`main.c'"
  equal 'one 2 3 4 5' "$(lines "$bob/main.c")"
  host 0 -C "$bob" edit util.c 'user guide/start.txt'
  host 0 -C "$bob" status
  equal $'Needs Merge\t1.1\t1.2\t\tmain.c
Needs Patch\t1.1\t1.2\tedited\tutil.c
Up-to-date\t1.1\t1.1\tedited\tuser guide/start.txt' "$output"
  host 0 -C "$bob" update
  host 0 -C "$bob" unedit 'user guide'
  host 0 -C "$bob" commit main.c
  equal 'one 2 3 4 5 6, 1 2 3 4 5 6' "$(lines "$bob/main.c"), $(lines "$bob/util.c")"
}

it_works_locally() { tour "$scratch/repository"; }
it_works_through_a_server_of_its_own() { tour ":fork:$scratch/repository"; }

it_works_with_a_password() {
  local guest_root
  # log_in ROOT PASSWORD
  log_in() { printf '%s\n' "$2" | timeout 60 "$scchost" --root "$1" login; }
  unset CVS_PASSFILE
  chmod a+x "$scratch" # for the server, which is not run by root
  start_password_server "$scratch/repository" ann "$password" guest '' 2>"$scratch/reason" ||
    skip "$(cat "$scratch/reason")"
  guest_root=${server_root/ann/guest}
  run 1 log_in "$server_root" wrong
  holds 'authorization failed: server 127.0.0.1 rejected access' 'for user ann'
  host 1 --root "$server_root" ls
  run 0 log_in "$guest_root" ''
  run 1 log_in "$guest_root" "$password"
  # On a terminal, which the client must not read.
  export CVSROOT=$server_root
  run 0 timeout 30 script -qec 'printf "%s\n" "$password" | "$scchost" login' /dev/null
  holds "logged in to $server_root"
  tour "$server_root"
  equal '' "$(grep -rlF "$password" "$scratch")"
  host 0 logout
  host 1 ls
}

it_works_through_ssh() {
  local keys=$scratch/keys sshd key said
  sshd=$(PATH=$PATH:/usr/sbin command -v sshd) || skip 'openssh-server is not installed'
  # Where the server of root locks itself in before anybody has logged in; its service makes it.
  [ "$(id -u)" -ne 0 ] || install -d /run/sshd
  mkdir "$keys"
  for key in user host; do ssh-keygen -q -t ed25519 -N '' -f "$keys/$key"; done
  printf '%s\n' "HostKey $keys/host" "AuthorizedKeysFile $keys/user.pub" "AllowUsers $(id -un)" \
    'StrictModes no' 'UsePAM no' "SetEnv HOME=$HOME" >"$keys/server"
  start_server "EXEC:$sshd -i -f $keys/server -E $keys/log,nofork" 2>"$scratch/reason" ||
    skip "$(cat "$scratch/reason")"
  printf '[127.0.0.1]:%s %s\n' "$server_port" "$(cat "$keys/host.pub")" >"$keys/hosts"
  program rsh "exec ssh -F /dev/null -p $server_port -i '$keys/user' -o IdentitiesOnly=yes \
    -o UserKnownHostsFile='$keys/hosts' -o BatchMode=yes \"\$@\""
  export CVS_RSH=$scratch/rsh
  said=$("$CVS_RSH" 127.0.0.1 true 2>&1) || skip "$said $(cat "$keys/log")"
  tour ":ext:127.0.0.1:$scratch/repository"
}

run_scenarios "$@"
