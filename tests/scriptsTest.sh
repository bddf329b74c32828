#!/usr/bin/env bash
# What the scripts at the top say before they begin to work.
# shellcheck source-path=SCRIPTDIR source=shell.sh
. "$(dirname "$0")/shell.sh"

for script in check demo setup; do
  run 0 timeout 5 "$sources/$script" --help
  holds "usage: ./$script"
  run 2 timeout 5 "$sources/$script" --nonsense
  equal "usage: ./$script" "${output:0:$((9 + ${#script}))}"
done
run 2 timeout 5 "$sources/demo" --server again

# Somebody who may not install, where nothing is installed.
mkdir "$scratch/bin"
printf '#!/bin/sh\necho 1000\n' >"$scratch/bin/id"
for name in apt-get dpkg-query sudo; do ln -s /bin/false "$scratch/bin/$name"; done
chmod +x "$scratch/bin/id"
run 1 timeout 5 env PATH="$scratch/bin:$PATH" "$sources/demo" --server
equal 'no server can run: it needs root' "$output"
run 1 timeout 5 env PATH="$scratch/bin:$PATH" "$sources/setup" default
holds 'as root:  apt-get update && apt-get install g++-multilib'
finish
