# Servers on the loopback interface, for tests and for the demonstration to source.
# shellcheck shell=bash disable=SC2034
server_pid=
server_port=
server_root=

unable() {
  printf 'no server can run: %s\n' "$1" >&2
  return 1
}

# start_server ADDRESS: gives every connection to the socat address. Sets server_pid and
# server_port. Where that cannot be done it says why.
start_server() {
  local log checks=50
  server_port=
  command -v socat >/dev/null || unable 'socat is not installed' || return
  log=$(mktemp)
  # A process group of its own, so that the handlers of open connections can be ended with it.
  setsid socat -d -d TCP-LISTEN:0,bind=127.0.0.1,fork "$1" </dev/null >/dev/null 2>"$log" &
  server_pid=$!
  while [ -z "$server_port" ] && [ $((checks -= 1)) -ge 0 ]; do
    sleep 0.1
    server_port=$(sed -n 's/.* listening on .*:\([0-9]*\)$/\1/p' "$log")
  done
  rm "$log"
  if [ -z "$server_port" ]; then
    stop_server
    unable 'socat does not listen'
  fi
}

# What start_password_server needs of the machine, besides socat. Says what is not there.
may_serve_passwords() {
  [ "$(id -u)" -eq 0 ] || unable 'it needs root' || return
  id nobody >/dev/null 2>&1 || unable 'there is no user nobody'
}

# start_password_server REPOSITORY USER PASSWORD [USER PASSWORD]...: gives the repository to the
# system user "nobody", whom the server turns into, and serves it to these accounts on a free port.
# Sets server_root, for the first account, too.
start_password_server() {
  local repository=$1 user=$2 hash
  shift
  may_serve_passwords || return
  while [ $# -ge 2 ]; do
    hash=$(printf %s "$2" | perl -e 'my $given = <STDIN> // ""; print crypt($given, q($6$salt$))')
    printf '%s:%s:nobody\n' "$1" "$hash"
    shift 2
  done >"$repository/CVSROOT/passwd"
  # Or the accounts of the machine could log in as well.
  printf 'SystemAuth=no\n' >>"$repository/CVSROOT/config"
  chown -R nobody "$repository"
  setpriv --reuid nobody --regid "$(id -g nobody)" --clear-groups test -w "$repository" ||
    unable "the user nobody cannot reach $repository" || return

  # Each handler becomes the server (nofork): socat drops the last words of one that it stands
  # before.
  start_server "EXEC:cvs -f --allow-root=$repository pserver,nofork" || return
  server_root=:pserver:$user@127.0.0.1:$server_port$repository
}

# Ends everything that was started; does nothing when nothing was.
stop_server() {
  local checks=50
  [ -n "$server_pid" ] || return 0
  kill -- "-$server_pid" 2>/dev/null || true
  wait "$server_pid" 2>/dev/null || true # it ends with the signal
  while [ $((checks -= 1)) -ge 0 ] && kill -0 -- "-$server_pid" 2>/dev/null; do sleep 0.1; done
  kill -KILL -- "-$server_pid" 2>/dev/null || true
  server_pid=
}
