#!/usr/bin/env bash
# The hosts in examples/ and the worker of the guide, built against the installed tree as a newcomer
# would, and run with the real client.
# shellcheck source-path=SCRIPTDIR source=shell.sh
. "$(dirname "$0")/shell.sh"
command -v cvs >/dev/null || skip "there is no cvs client on this machine"

installed=$scratch/installed
run 0 cmake --install "$build" --prefix "$installed"
library=$(find "$installed" -name libcvsprovider.so)
documents=$(dirname "$(find "$installed" -name hosts.md)")/..
flags=(-Wall -Wextra -Wpedantic -Wshadow -Werror -I"$installed/include")
# The fifth byte of the file tells the word size.
[ "$(od -An -tu1 -j4 -N1 "$library" | tr -d ' ')" = 2 ] || flags+=(-m32)
run 0 g++ -std=c++11 "${flags[@]}" "$documents/examples/minimal-host.cpp" -o "$scratch/cpp" -ldl
run 0 gcc -std=c99 "${flags[@]}" "$documents/examples/minimal-host.c" -o "$scratch/c" -ldl

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
  run 1 "${host[@]}" "$work" nowhere.c
  holds 'status failed' "cannot find module \`$name/nowhere.c'"
  run 1 "${host[@]}" "$scratch" main.c
  equal "$scratch is no working copy" "$output"
  run 2 "$scratch/$name" /etc/passwd "$CVSROOT" "$work" main.c
  holds /etc/passwd
  run 2 "$scratch/$name"
  holds usage
done

{
  printf '#include <%s>\n' SourceCodeControlSystemProviderInterface.h condition_variable cstdio \
    deque functional future mutex string thread
  echo 'using Provider = SourceCodeControlSystemProviderInterface;'
  sed -n '/^class Worker/,/^};/p' "$documents/docs/hosts.md"
  cat <<'EOT'
int main(int, char** arguments) {
  std::promise<std::string> root;
  Worker worker(AllocateSourceCodeControlSystemInterface, ReleaseSourceCodeControlSystemInterface);
  worker.post([&](Provider& provider) { provider.setRoots(arguments[1]); });
  worker.post([&](Provider& provider) { root.set_value(provider.getRemoteRoot()); });
  std::puts(root.get_future().get().c_str());
  worker.post([](Provider& provider) { provider.refresh(); });
}
EOT
} >"$scratch/worker.cpp"
run 0 g++ -std=c++11 -pthread "${flags[@]}" "$scratch/worker.cpp" "$library" -o "$scratch/worker"
run 0 env LD_LIBRARY_PATH="$(dirname "$library")" timeout 30 "$scratch/worker" "$work"
equal c "$output"
finish
