#!/usr/bin/env bash
# What breaks in the field, with the real client: names, sizes, locks and settings.
# shellcheck source-path=SCRIPTDIR source=shell.sh
. "$(dirname "$0")/shell.sh"
command -v cvs >/dev/null || skip "there is no cvs client on this machine"

export CVSROOT=$scratch/repository
work=$scratch/work
cvs init
printf '%s\n' 'cvs -q' 'status -v' 'update -d' >"$HOME/.cvsrc"
run 0 "$scchost" mkdir lib/box
run 0 "$scchost" checkout "$work" lib/box

# The client looks at a lock again after half a minute; meanwhile the rest goes on elsewhere.
echo 1 >"$work/locked.txt"
run 0 "$scchost" -C "$work" add locked.txt
run 0 "$scchost" checkout "$scratch/waiting" lib/box
echo 2 >>"$scratch/waiting/locked.txt"
mkdir "$CVSROOT/lib/box/#cvs.lock"
"$scchost" -C "$scratch/waiting" commit -m waited locked.txt >"$scratch/waited" 2>&1 &
waiting=$!
sleep 2
rmdir "$CVSROOT/lib/box/#cvs.lock"

# Every name goes the same way. The columns are the exit status of adding it, and of asking for the
# status it then has: a name that begins with "-" is an option to the client's "add", and one that holds "Status:"
# is cut there, which leaves it without a record.
ended=0
while IFS='|' read -r name added ended_with state; do
  echo 1 >"$work/$name"
  run "$added" "$scchost" -C "$work" add -- "$name"
  [ "$added" -eq 0 ] || (cd "$work" && cvs -Q add -- "$name" && cvs -Q commit -m x -- "$name")
  status() {
    run "$1" "$scchost" -C "$work" status -- "$name"
    equal "$2" "$(cut -f 1 <<<"${output%%$'\n'*}")"
  }
  status "$ended_with" "$state"
  echo 2 >>"$work/$name"
  [ "$ended_with" -ne 0 ] || status 0 'Locally Modified'
  run 0 "$scchost" -C "$work" commit -m "about $name" -- "$name"
  run 0 "$scchost" -C "$work" cat -- "$name"
  equal $'1\n2' "$output"
  rm "$work/$name"
  status 0 missing
  run 0 "$scchost" -C "$work" update -- "$name"
  equal $'1\n2' "$(cat "$work/$name")"
  ended=$((ended + 1))
done <<'EOT'
with two  spaces.txt|0|0|Up-to-date
naïve – ü.txt|0|0|Up-to-date
tab	inside.txt|0|0|Up-to-date
it's "quoted" $HOME; &.txt|0|0|Up-to-date
no file really.txt|0|0|Up-to-date
-dash.txt|1|0|Up-to-date
File: Status: x.txt|0|1|no status
EOT
equal 7 "$ended"

# The client reports a missing "x" under the name of a file called "no file x", which comes last
# here and wins; both cannot be told apart.
for name in 'no file x' x; do
  echo 1 >"$work/$name"
  run 0 "$scchost" -C "$work" add "$name"
done
rm "$work/x"
run 0 "$scchost" -C "$work" status x 'no file x'
equal "missing				x
Needs Checkout	1.1	1.1		no file x" "$output"

# A large working copy, of which every file is known.
mkdir "$scratch/large"
for directory in "$scratch/large/"{1..200}; do
  mkdir "$directory"
  for file in {1..10}; do echo "$file" >"$directory/$file.txt"; done
done
(cd "$scratch/large" && cvs -Q import -m many lib/large vendor start)
run 0 cvs -Q checkout -d "$scratch/checkout" lib/large
echo 2 >>"$scratch/checkout/77/7.txt"
run 0 "$scchost" -C "$scratch/checkout" status
equal 1999 "$(grep -c ^Up-to-date <<<"$output")"
equal "Locally Modified	1.1.1.1	1.1.1.1		77/7.txt" "$(grep -v ^Up-to-date <<<"$output")"

wait "$waiting" || fail "the commit that waited ended with $?: $(cat "$scratch/waited")"
equal "committed locked.txt 1.1 -> 1.2" "$(tail -n 1 "$scratch/waited")"
equal $'1\n2' "$(cvs -Q checkout -p lib/box/locked.txt)"
finish
