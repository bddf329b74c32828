# An ssh server on the loopback interface, for a test to source, and a client that knows no other.
# shellcheck shell=bash disable=SC2034
ssh_server_pid=
ssh_root=

unable_to_serve() {
  printf 'no ssh server can run: %s\n' "$1" >&2
  return 1
}

# start_ssh_server DIRECTORY REPOSITORY: serves whoever calls it on a free port, by keys and
# settings that are made in DIRECTORY and are the only ones that either side reads. Sets ssh_root,
# CVS_RSH, a program that runs the client with these settings, and ssh_server_pid. Where that cannot
# be done it says why.
start_ssh_server() {
  local directory=$1 repository=$2 sshd port='' checks=50 key said
  command -v ssh >/dev/null || unable_to_serve 'ssh is not installed' || return
  command -v socat >/dev/null || unable_to_serve 'socat is not installed' || return
  sshd=$(PATH=$PATH:/usr/sbin command -v sshd) || unable_to_serve 'openssh-server is not installed' || return
  # Where the server of root locks itself in before anybody has logged in; its service makes it.
  [ "$(id -u)" -ne 0 ] || install -d /run/sshd

  mkdir "$directory"
  for key in user host; do ssh-keygen -q -t ed25519 -N '' -f "$directory/$key"; done
  cat >"$directory/server" <<EOT
HostKey "$directory/host"
AuthorizedKeysFile "$directory/user.pub"
AuthenticationMethods publickey
AllowUsers $(id -un)
StrictModes no
UsePAM no
SetEnv "HOME=$HOME"
EOT
  # A process group of its own, so that the handlers of open connections can be ended with it.
  setsid socat -d -d TCP-LISTEN:0,bind=127.0.0.1,fork \
    EXEC:"$sshd -i -f $directory/server -E $directory/log",nofork \
    </dev/null >/dev/null 2>"$directory/listener" &
  ssh_server_pid=$!
  while [ -z "$port" ] && [ $((checks -= 1)) -ge 0 ]; do
    sleep 0.1
    port=$(sed -n 's/.* listening on .*:\([0-9]*\)$/\1/p' "$directory/listener")
  done
  printf '[127.0.0.1]:%s %s\n' "$port" "$(cat "$directory/host.pub")" >"$directory/hosts"
  cat >"$directory/client" <<EOT
Port ${port:-0}
IdentityFile "$directory/user"
IdentitiesOnly yes
IdentityAgent none
UserKnownHostsFile "$directory/hosts"
GlobalKnownHostsFile /dev/null
StrictHostKeyChecking yes
BatchMode yes
ConnectTimeout 10
ControlPath "$directory/master"
EOT
  CVS_RSH=$directory/ssh
  printf '#!/bin/sh\nexec ssh -F "%s/client" "$@"\n' "$directory" >"$CVS_RSH"
  chmod +x "$CVS_RSH"
  export CVS_RSH
  ssh_root=:ext:127.0.0.1:$repository
  if ! said=$("$CVS_RSH" 127.0.0.1 true 2>&1 </dev/null); then
    stop_ssh_server
    unable_to_serve "$said $(cat "$directory/log")"
  fi
}

# Keeps the first connection from here on open for those that follow.
share_ssh_connection() {
  printf '%s\n' 'ControlMaster auto' 'ControlPersist 300' >>"${CVS_RSH%/*}/client"
}

# Ends everything that was started; does nothing when nothing was.
stop_ssh_server() {
  local checks=50 running
  [ -n "$ssh_server_pid" ] || return 0
  running=$("$CVS_RSH" -O check 127.0.0.1 2>&1 | sed -n 's/.*(pid=\([0-9]*\)).*/\1/p')
  for running in "-$ssh_server_pid" $running; do
    kill -- "$running" 2>/dev/null || true
    while [ $((checks -= 1)) -ge 0 ] && kill -0 -- "$running" 2>/dev/null; do sleep 0.1; done
    kill -KILL -- "$running" 2>/dev/null || true
  done
  wait "$ssh_server_pid" 2>/dev/null || true # it ends with the signal
  ssh_server_pid=
}
