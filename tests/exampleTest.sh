#!/usr/bin/env bash
# The hosts in examples/ and in the guide, built against the installed tree as a newcomer would, and
# run with the real client.
. "$(dirname "$0")/shell.sh"

# Every operation at its place: the order and the numbers of the header, and the table for C.
it_has_every_operation_at_its_place() {
  local header in_header in_c
  header=$sources/include/SourceCodeControlSystemProviderInterface.h
  in_header=$(sed -n 's/^  virtual [^(]*[ *]\([^(]*\)(.*/\1/p' "$header" | sed '7s/$/ByCheckout/')
  in_c=$(sed -n '/^struct Operations/,/^};/s/.*(\*\(.*\))(.*/\1/p' "$sources/examples/minimal-host.c")
  equal "$in_c" "$in_header"
  equal "$(seq 29)" "$(sed -n 's/.*[;}]  \/\/ \([0-9]*\)$/\1/p' "$header")"
}

it_serves_the_hosts_of_the_guide() {
  installed=$scratch/installed
  run 0 cmake --install "$build" --prefix "$installed"
  library=$(find "$installed" -name libcvsprovider.so)
  guide=$(find "$installed" -name hosts.md)
  examples=$(dirname "$guide")/../examples
  flags=(-Wall -Wextra -Wpedantic -Wshadow -Werror -I"$installed/include")
  # The fifth byte of the file tells the word size.
  [ "$(od -An -tu1 -j4 -N1 "$library" | tr -d ' ')" = 2 ] || flags+=(-m32)
  run 0 g++ -std=c++11 "${flags[@]}" "$examples/minimal-host.cpp" -o "$scratch/cpp" -ldl
  run 0 gcc -std=c99 "${flags[@]}" "$examples/minimal-host.c" -o "$scratch/c" -ldl

  export CVSROOT=$scratch/repository
  cvs init
  mkdir "$scratch/import" && cd "$scratch/import" || exit
  echo 1 >main.c
  for name in cpp c; do
    host=("$scratch/$name" "$library" "$CVSROOT")
    work=$scratch/work-$name late=$scratch/late-$name
    cvs -Q import -m start "$name" vendor start
    for copy in "$work" "$late"; do cvs -Q checkout -d "$copy" "$name"; done

    run 0 "${host[@]}" "$work" main.c
    equal 'main.c: Up-to-date, 1.1.1.1 here, 1.1.1.1 there' "$output"
    (cd "$work" && cvs -Q edit main.c && echo 2 >>main.c)
    run 0 "${host[@]}" "$work" main.c "a \"second\" line"
    equal 'main.c: Locally Modified, 1.1.1.1 here, 1.1.1.1 there, edited
main.c: Up-to-date, 1.2 here, 1.2 there' "$output"
    equal $'1\n2' "$(cvs -Q checkout -p "$name/main.c")"
    run 0 cvs -Q rlog -r1.2 "$name/main.c"
    holds "a \"second\" line"

    echo 3 >>"$late/main.c"
    run 1 "${host[@]}" "$late" main.c late
    holds 'Needs Merge, 1.1.1.1 here, 1.2 there' 'commit failed; the last words of the client, in "commit"' \
      "Up-to-date check failed for \`main.c'"
    equal $'1\n3' "$(cat "$late/main.c")"
  done

  cat >"$scratch/worker.cpp" <<'EOT'
#include <chrono>
#include <cstdio>
#include "worker.h"
int main(int, char** arguments) {
  const auto allocate = AllocateSourceCodeControlSystemInterface;
  const auto release = ReleaseSourceCodeControlSystemInterface;
  Worker worker(allocate(), release), dropping(allocate(), release);
  worker.post([=](Worker::Provider& provider) { provider.setRoots(arguments[1]); });
  worker.post([](Worker::Provider& provider) { std::puts(provider.getRemoteRoot()); });
  worker.finish();
  dropping.post([](Worker::Provider&) { std::this_thread::sleep_for(std::chrono::seconds(1)); });
  dropping.post([](Worker::Provider&) { std::puts("not dropped"); });
}
EOT
  for standard in 11 20; do
    run 0 g++ -std="c++$standard" -pthread "${flags[@]}" -I"$examples" "$scratch/worker.cpp" \
      "$library" -o "$scratch/worker"
  done
  run 0 env LD_LIBRARY_PATH="$(dirname "$library")" timeout 30 "$scratch/worker" "$work"
  equal c "$output"

  # Python has to be of the library's word size.
  python=
  for found in $(type -ap python3); do
    ! "$found" -c "import ctypes; ctypes.CDLL('$library')" 2>/dev/null || python=$found
  done
  [ -n "$python" ] || return # there is none of this word size
  run 0 "$python" "$examples/minimal-host.py" "$library" "$CVSROOT" "$work" main.c
  equal 'Up-to-date 1.2 1.2' "$output"
}

run_scenarios "$@"
