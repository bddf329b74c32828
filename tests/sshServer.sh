# An ssh server on the loopback interface, for a test to source behind passwordServer.sh, and a
# client that knows no other.
# shellcheck shell=bash disable=SC2034,SC2154
ssh_root=

# start_ssh_server DIRECTORY REPOSITORY: serves whoever calls it on a free port, by keys and
# settings that are made in DIRECTORY and are the only ones that either side reads. Sets ssh_root,
# and CVS_RSH, a program that runs the client with these settings. Where that cannot be done it says
# why.
start_ssh_server() {
  local directory=$1 repository=$2 sshd key said
  command -v ssh >/dev/null || unable 'ssh is not installed' || return
  sshd=$(PATH=$PATH:/usr/sbin command -v sshd) || unable 'openssh-server is not installed' || return
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
  start_server "EXEC:$sshd -i -f $directory/server -E $directory/log,nofork" || return
  printf '[127.0.0.1]:%s %s\n' "$server_port" "$(cat "$directory/host.pub")" >"$directory/hosts"
  cat >"$directory/client" <<EOT
Port $server_port
IdentityFile "$directory/user"
IdentitiesOnly yes
IdentityAgent none
UserKnownHostsFile "$directory/hosts"
GlobalKnownHostsFile /dev/null
StrictHostKeyChecking yes
BatchMode yes
ConnectTimeout 10
ControlPath none
EOT
  CVS_RSH=$directory/ssh
  printf '#!/bin/sh\nexec ssh -F "%s/client" "$@"\n' "$directory" >"$CVS_RSH"
  chmod +x "$CVS_RSH"
  export CVS_RSH
  ssh_root=:ext:127.0.0.1:$repository
  if ! said=$("$CVS_RSH" 127.0.0.1 true 2>&1 </dev/null); then
    stop_server
    unable "$said $(cat "$directory/log")"
  fi
}
