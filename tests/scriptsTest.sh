#!/usr/bin/env bash
# What is said on a machine that lacks something.
. "$(dirname "$0")/shell.sh"

# Somebody who may not install, where nothing is installed.
it_says_what_to_install() {
  mkdir "$scratch/bin"
  printf '#!/bin/sh\necho 1000\n' >"$scratch/bin/id"
  for name in apt-get dpkg-query sudo; do ln -s /bin/false "$scratch/bin/$name"; done
  chmod +x "$scratch/bin/id"
  run 1 timeout 5 env PATH="$scratch/bin:$PATH" "$sources/setup" default
  holds 'as root:  apt-get update && apt-get install g++-multilib'
}

it_looks_at_the_compiler_again() {
  local configure
  cat >"$scratch/compiler" <<EOT
#!/bin/bash
[ -e '$scratch/multilib' ] || [[ " \$* " != *' -m32 '* ]] || exit 1
exec g++ "\${@/#-m32/-g}"
EOT
  chmod +x "$scratch/compiler"
  configure=(cmake -S "$sources" -B "$scratch/build" -DCMAKE_CXX_COMPILER="$scratch/compiler"
    -DCVSPROVIDER_TESTS=OFF -DCVSPROVIDER_BENCH=OFF)
  run 1 "${configure[@]}"
  holds 'Install g++-multilib'
  touch "$scratch/multilib"
  run 0 "${configure[@]}"
}

run_scenarios "$@"
