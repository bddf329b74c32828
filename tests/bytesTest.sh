#!/usr/bin/env bash
# What scchost must not lose or publish. Beside each refusal stands what must not be refused.
. "$(dirname "$0")/shell.sh"

# On both ways the client works differently: by itself, and through a server.
ways=('' :fork:)

# keeps FILE LINES ...: each of these files of bob's has to hold these lines.
keeps() { for (( ; $# > 0; )); do equal "$1: $2" "$1: $(lines "$bob/$1" 2>&1)"; shift 2; done; }

# in_repository FILE: the newest revision that everybody gets.
in_repository() { cvs -Q checkout -p "tool/$1" | paste -sd ' '; }

# conflict FILE...: ann and bob change the same line; bob's update leaves a conflict.
conflict() {
  sed -i s/2/ann/ "${@/#/$ann/}"
  sed -i s/2/bob/ "${@/#/$bob/}"
  does "$ann" "cvs -Q commit -m ann $*"
  in_bob 1 update "$@"
}
marked='1 <<<<<<< %s bob ======= ann >>>>>>> 1.2 3'

it_withdraws_only_unchanged_edits() {
  local way file change status wanted said
  for way in "${ways[@]}"; do
    take_tree "$way"
    printf '%s\n' 1 2 3 >"$bob/b.c "
    does "$bob" "cvs -Q add 'b.c ' && cvs -Q commit -m neighbour && cvs -Q edit"
    cp -p "$bob/c.c" "$scratch/old"
    # How the file comes into its state, the exit status, what the file holds then, what is said.
    while IFS='|' read -r file change status wanted said; do
      does "$bob" "${change:-:}"
      in_bob "$status" unedit "$file"
      holds "$said"
      keeps "$file" "$wanted"
    done <<'EOT'
a.c||0|1 2 3|released a.c
a.c||1|1 2 3|a.c is not being edited
b.c |echo mine >>'b.c '|1|1 2 3 mine|commit it; or edit it again and then unedit it, which keeps the text; or pass --revert
b.c||0|1 2 3|released b.c
b.c |cvs -Q edit 'b.c '|0|1 2 3 mine|released b.c 
c.c|sed -i s/2/X/ c.c; touch -r ../old c.c|1|1 X 3|c.c has changed since its edit was announced
d.c|rm -f d.c|0|1 2 3|released d.c
e.c|sed -i /^Be.c/d CVS/Baserev|1|1 2 3 4 5 6 7 8 9|e.c cannot be compared
docs/f.txt|rm -f docs/CVS/Base/f.txt; mkdir docs/CVS/Base/f.txt|1|1 2 3|docs/f.txt cannot be compared
docs/deep/g.txt|cd ../ann; echo ann >>docs/deep/g.txt; cvs -Q commit -m ann; cd ../bob; cvs -Q update docs/deep|1|1 2 3 ann|was updated since its edit was announced, and unedit would put revision 1.1.1.1 back
EOT
    rm -f "$bob/docs/deep/g.txt" # which update brings in a newer revision than the edit's
    in_bob 1 unedit .
    equal 3 "$(grep -c 'pass --revert$' <<<"$output")"
    holds 'released logo.png' 'released docs/deep/g.txt'
    keeps docs/deep/g.txt '1 2 3 ann' c.c '1 X 3'
  done
  in_bob 0 unedit docs/deep
  equal 'nothing is being edited' "$output"
  # It looks at each file right before, not at all of them first.
  does "$bob" 'cvs -Q edit a.c b.c d.c'
  program late 'case $* in *unedit*a.c) echo late >>b.c ;; esac; exec cvs "$@"'
  CVS_GNU_CLIENT=$scratch/late in_bob 1 unedit a.c b.c d.c
  holds 'released a.c' 'b.c has changed' 'released d.c'
  keeps b.c '1 2 3 late'
}

it_keeps_what_it_replaces() {
  local way r=1.1.1.1
  for way in "${ways[@]}"; do
    take_tree "$way"
    for text in one two three; do
      echo "$text" >>"$bob/a.c"
      in_bob 0 revert a.c
      holds "reverted a.c $r; your text is in .#a.c.$r"
    done
    holds "the earlier .#a.c.$r is now .#a.c.$r.kept.2"
    keeps a.c '1 2 3' ".#a.c.$r" '1 2 3 three' ".#a.c.$r.kept" '1 2 3 one'
    keeps ".#a.c.$r.kept.2" '1 2 3 two'

    # A merge and a clean edit keep the text too; what they do not need stays under its name.
    sed -i s/3/ann/ "$ann/b.c" "$ann/docs/f.txt"
    does "$ann" 'cvs -Q commit -m ann'
    sed -i s/1/bob/ "$bob/b.c"
    echo earlier | tee "$bob/.#b.c.$r" >"$bob/.#c.c.$r"
    in_bob 0 update
    holds "merged b.c $r -> 1.2; your text is in .#b.c.$r; the earlier .#b.c.$r is now .#b.c.$r.kept"
    keeps b.c 'bob 2 ann' ".#b.c.$r" 'bob 2 3'
    keeps ".#b.c.$r.kept" earlier ".#c.c.$r" earlier
    equal '' "$(find "$bob" -name '.#c.c*kept')"
    echo bob >>"$bob/docs/f.txt"
    in_bob 0 edit --clean docs
    holds 'editing docs/f.txt; your text is in docs/.#f.txt.1.2'
    keeps docs/f.txt '1 2 ann' docs/.#f.txt.1.2 '1 2 ann bob'

    # The client keeps the text from before the edit only.
    echo first >>"$bob/c.c"
    does "$bob" 'cvs -Q edit c.c e.c'
    echo second >>"$bob/c.c"
    echo third >"$bob/e.c"
    sed -i /^Be.c/d "$bob/CVS/Baserev" # without it the client deletes the file
    rm "$bob/docs/f.txt"
    in_bob 0 unedit --revert c.c e.c docs
    holds "reverted c.c; your text is in .#c.c.$r.kept" "reverted e.c; your text is in .#e.c.$r.kept" \
      'released docs/f.txt'
    keeps c.c '1 2 3' e.c '1 2 3 4 5 6 7 8 9' docs/f.txt '1 2 ann'
    keeps ".#c.c.$r.kept" '1 2 3 first second' ".#e.c.$r.kept" third
  done
}

it_keeps_what_the_client_keeps_nowhere() {
  local way
  for way in :fork: ''; do
    take_tree "$way"
    # What a link leads to, a conflict whose file is removed, and a backup without a revision.
    mv "$bob/d.c" "$scratch/target"
    ln -s "$scratch/target" "$bob/d.c"
    conflict a.c
    sed -i s/2/ann/ "$ann/d.c"
    sed -i s/2/bob/ "$scratch/target"
    echo first >"$bob/.#new.c"
    echo second >"$bob/new.c" && echo ann >"$ann/new.c"
    does "$ann" 'cvs -Q rm -f a.c && cvs -Q add new.c && cvs -Q commit -m ann'
    in_bob 1 update
    grep -qs bob "$bob/.#d.c.1.1.1.1" "$bob/.#d.c.1.1.1.1.kept" || fail 'the text of a link is gone'
    grep -qs '^=======' "$bob/a.c" "$bob/.#a.c.1.2.kept" || fail "$way: no conflict"
    "$scchost" -C "$bob" revert new.c >"$scratch/said" 2>&1
    grep -qs first "$bob"/.#new.c* || fail "$way: the earlier backup is gone"
    rm -f "$bob/a.c" "$bob/d.c"
  done
  keeps .#d.c.1.1.1.1.kept '1 bob 3' # where the client writes to the target itself
  equal 600 "$(stat -c %a "$bob/.#d.c.1.1.1.1.kept")"
  # A clean edit goes by no record of a neighbour, and brings what is not here.
  echo 1 >"$bob/b.c "
  does "$bob" "cvs -Q add 'b.c ' && cvs -Q commit -m neighbour 'b.c ' && echo mine >>b.c && rm c.c"
  in_bob 0 edit --clean b.c c.c
  keeps b.c '1 2 3' c.c '1 2 3'
  # No part of a text passes for the whole, and none is kept twice.
  seq 20000 | tee "$ann/e.c" >"$bob/e.c"
  conflict e.c
  does "$ann" 'sed -i s/7/ann/ e.c && cvs -Q commit -m more'
  run 1 bash -c "trap '' XFSZ; ulimit -f 50; '$scchost' -C '$bob' update e.c"
  equal 'scchost: cannot keep e.c as .#e.c.1.2.kept: File too large' "$output"
  in_bob 0 update e.c
  equal '' "$(find "$bob" -name '.#e.c*kept')"
}

it_moves_a_conflict_aside() {
  local way file command said wanted
  for way in "${ways[@]}"; do
    take_tree "$way"
    does "$bob" 'cvs -Q edit c.c'
    conflict a.c b.c c.c d.c
    holds 'conflict in a.c; your text is in .#a.c.1.1.1.1' '4 files have conflicts: edit'
    keeps .#a.c.1.1.1.1 '1 bob 3'
    in_bob 1 update a.c
    holds 'conflict in a.c' '1 file has a conflict: edit the conflict markers away, then commit'

    # A client that fails, and one that is interrupted.
    wanted=$(stat -c %y "$bob/d.c")
    in_bob 1 --client false revert d.c
    equal "$wanted" "$(stat -c %y "$bob/d.c")"
    keeps d.c "$(printf "$marked" d.c)"
    program slow "echo \$\$ >'$scratch/client'; exec sleep 20"
    "$scchost" -C "$bob" --client "$scratch/slow" revert d.c &
    until [ -s "$scratch/client" ]; do sleep 0.05; done
    kill -KILL $! "$(cat "$scratch/client")"
    wait $! 2>/dev/null
    rm "$scratch/client"
    keeps .#d.c.1.2.kept "$(printf "$marked" d.c)"
    [ ! -e "$bob/d.c" ] || fail 'd.c was to be fetched'
    in_bob 0 revert d.c
    holds 'restored d.c 1.2'

    while IFS='|' read -r file command said; do
      in_bob 0 $command $file
      holds "$said $file" "; your text is in .#$file.1.2.kept"
      keeps "$file" '1 ann 3'
      keeps ".#$file.1.2.kept" "$(printf "$marked" "$file")"
    done <<'EOT'
a.c|revert|reverted
b.c|edit --clean|editing
c.c|unedit --revert|reverted
EOT
    in_bob 0 status --changed
    equal '' "$output"
  done
  # What cannot be kept stays where it is: the second name for it is too long.
  file=$(printf 'n%.0s' {1..243})
  does "$ann" "cp docs/f.txt $file && cvs -Q add $file && cvs -Q commit -m long $file"
  does "$bob" 'cvs -Q update'
  conflict "$file"
  echo spare >"$bob/.#$file.1.2"
  in_bob 1 revert "$file"
  keeps "$file" "$(printf "$marked" "$file")" ".#$file.1.2" spare
}

it_publishes_no_conflict_markers() {
  local command
  take_tree
  conflict a.c e.c docs/f.txt
  sed -i s/9/later/ "$ann/e.c"
  does "$ann" 'cvs -Q commit -m later'
  touch "$bob/e.c"
  in_bob 0 update e.c # merges cleanly, and the client forgets the conflict
  touch -d 2040-01-01 "$bob/docs/f.txt"
  printf '1\n2\nann' >"$ann/c.c" && printf '1\n2\nbob' >"$bob/c.c" # the last line has no end
  does "$ann" 'cvs -Q commit -m ann c.c'
  in_bob 1 update c.c
  touch "$bob/c.c"
  printf '<<<<<<< other.c\n=======\n>>>>>>> 1.1\n<<<<<<< d.c\n=======\n' >>"$bob/d.c" # about conflicts
  for command in commit 'commit .' 'commit docs .'; do
    in_bob 1 $command
    holds 'a.c: it has a conflict' 'e.c: it contains conflict markers' \
      'c.c: it contains conflict markers' 'docs/f.txt: it contains conflict markers' 'nothing is committed'
    case $output in *d.c*) fail "$output" ;; esac
  done
  in_bob 1 commit docs
  equal '1 ann 3 4 5 6 7 8 later' "$(in_repository e.c)"
  equal '1 2 3' "$(in_repository d.c)"
  in_bob 0 commit -m 'as it is' d.c e.c # named, so meant
  holds 'committed e.c 1.3 -> 1.4' 'committed d.c'
  sed -i '/^[<=>]\{7\}/d' "$bob/a.c" "$bob/docs/f.txt"
  in_bob 0 commit c.c . -m resolved
  equal '1 bob ann 3' "$(in_repository docs/f.txt)"
  # Beside the whole a path is named all the same; in the place of a file nothing else is taken.
  does "$ann" 'cvs -Q update'
  conflict d.c
  in_bob 1 commit . d.c
  holds "file \`d.c' had a conflict and has not been modified"
  in_bob 0 revert d.c
  does "$bob" 'cvs -Q rm -f b.c && cp -a docs b.c && echo secret >>b.c/f.txt'
  in_bob 1 commit
  holds 'b.c: it has a directory in its place'
  equal '1 bob ann 3' "$(in_repository docs/f.txt)"
  [ "$(id -u)" -ne 0 ] || return # who may write everywhere
  chmod a-w "$bob/docs/CVS"
  in_bob 1 commit docs/f.txt
  holds "cannot write to $bob/docs/CVS: Permission denied"
}

it_enters_no_other_repository() {
  local way command status said before same top below
  take_tree
  export HOME=$scratch/home
  cvs -d "$scratch/other" init
  mkdir "$scratch/lib" && echo other | tee "$scratch/lib/a.c" >"$scratch/lib/l.c"
  does "$scratch/lib" "cvs -Q -d '$scratch/other' import -m lib lib v s"
  mkdir "$CVSROOT/lib" # where the client's own -d would lead
  does "$bob" "cvs -Q -d '$scratch/other' checkout -d docs/vendor lib"
  echo mine | tee -a "$bob/docs/vendor/l.c" "$bob/docs/f.txt" >>"$bob/a.c"
  before=$(cd "$scratch" && find other bob/docs/vendor -type f -exec md5sum {} +)
  while IFS='|' read -r command status said; do
    in_bob $status $command
    holds "$said"
    equal "$before" "$(cd "$scratch" && find other bob/docs/vendor -type f -exec md5sum {} +)"
  done <<'EOT'
status|0|docs/vendor belongs to another repository and is left out
status docs/vendor|1|belongs to another repository; name its working copy with -C
update docs/vendor/l.c|1|belongs to another repository
add docs/vendor/new/x|1|belongs to another repository
update|1|update would reach docs/vendor, which belongs to another repository; name these instead: a.c b.c c.c d.c e.c logo.png docs/f.txt docs/deep
revert .|1|revert would reach docs/vendor
edit docs|1|edit would reach docs/vendor, which belongs to another repository; name these instead: docs/f.txt docs/deep
edit b.c docs/f.txt docs/deep|0|editing b.c
unedit b.c docs|0|released docs/deep/g.txt
diff|1|+mine
update a.c docs/deep|0|nothing to update
commit docs|0|committed docs/f.txt
commit|0|committed a.c
EOT
  equal mine "$(in_repository docs/f.txt | cut -d ' ' -f 4)"

  # Where nothing is recorded at the top, what leads to it is the measure.
  mv "$bob/CVS/Root" "$scratch/Root"
  in_bob 1 update
  holds 'update would reach docs/vendor'
  mv "$scratch/Root" "$bob/CVS"
  # The same repository under another name is no other one.
  ln -s "$scratch/repository" "$scratch/alias"
  for same in ":local:$CVSROOT" ":fork:$CVSROOT/" "${CVSROOT//\//\/\/}" "$scratch/alias" ''; do
    echo "$same" >"$bob/docs/deep/CVS/Root"
    in_bob 0 update docs/deep
  done
  rm -r "$bob/docs/deep/CVS/Root" "$bob/docs/vendor"
  while read -r status top below; do
    echo "$top" >"$bob/CVS/Root"
    echo "$below" >"$bob/docs/CVS/Root"
    run 1 "$scchost" -C "$bob" --client false status docs
    equal "$status $top $below" "$(grep -c 'belongs to another' <<<"$output") $top $below"
  done <<'EOT'
0 :ext:ann@Host:/cvs :pserver:bob:secret@hOST:2401/cvs/
0 host:/cvs :ext;CVS_RSH=/bin/rsh:host://cvs
1 :pserver:host:/cvs :pserver:other:/cvs
1 :pserver:host:/cvs :pserver:host:/cvs2
1 /cvs :ext:host:/cvs
EOT
}

it_adds_only_what_is_meant() {
  local status path wanted
  take_tree
  mkdir -p "$bob/new/deep" "$bob/p/q" "$scratch/elsewhere" "$bob/empty"
  echo 1 | tee "$bob/new/deep/n.c" "$bob/plain.c" "$scratch/elsewhere/secret" >"$bob/sub.c"
  printf '$Id$\0\n' | tee "$bob/binary" "$bob/marked" >"$scratch/binary"
  mkfifo "$bob/pipe"
  ln -s "$scratch/elsewhere" "$bob/link"
  echo mine >>"$bob/docs/f.txt"
  does "$bob" 'cvs -Q rm -f e.c && mkdir holder && cp -a docs holder'
  while IFS='|' read -r status path wanted; do
    run "$status" timeout 20 "$scchost" -C "$bob" add $path
    holds "${wanted//;/$'\n'}"
  done <<'EOT'
1|docs|docs is a directory under version control
1|holder|holder holds the working copy docs, whose changes the client would commit
1|plain.c p/q/typo|p/q/typo does not exist
1|pipe|pipe is neither a file nor a directory
1|binary|cvs add -kb
2|link/secret|lies outside the working copy
0|new/deep/n.c|added directory new;added directory new/deep;added new/deep/n.c
0|empty plain.c|added directory empty;added plain.c
0|e.c|restored e.c
0|--force marked|added marked
EOT
  equal '1 2 3' "$(in_repository docs/f.txt)"
  equal '' "$(find "$CVSROOT/tool" -name 'p*' ! -name 'plain.c,v')"
  cmp "$scratch/binary" "$bob/binary" || fail 'binary has changed'
  keeps e.c '1 2 3 4 5 6 7 8 9'
}

it_follows_links_as_the_client_does() {
  local way
  for way in "${ways[@]}"; do
    take_tree "$way"
    mv "$bob/docs" "$scratch/disk" # to another disk, say
    ln -s "$scratch/disk" "$bob/docs"
    rm -r "$bob/docs/deep"
    ln -s . "$bob/docs/deep" # which would lead round and round
    echo mine >>"$bob/docs/f.txt"
    in_bob 0 status --changed
    equal $'Locally Modified\t1.1.1.1\t1.1.1.1\t\tdocs/f.txt' "$output"
    in_bob 1 diff docs/f.txt
    holds +mine
    in_bob 0 commit docs/f.txt a.c
    equal '1 2 3 mine' "$(in_repository docs/f.txt)"
    echo more >>"$bob/docs/f.txt"
    in_bob 0 commit
    equal $'committing docs/f.txt\ncommitted docs/f.txt 1.2 -> 1.3' "$output"
    rm -r "$scratch/disk"
  done
}

it_takes_paths_as_the_system_does() {
  local path
  take_tree
  mkdir -p "$scratch/elsewhere/sub"
  ln -s "$scratch/elsewhere/sub" "$bob/out"
  ln -s docs/deep "$bob/in"
  echo mine | tee -a "$bob/b.c" "$bob/docs/f.txt" >>"$bob/a.c"
  for path in out/../b.c out/b.c .. ../ann/a.c; do run 2 env -C "$bob" "$scchost" revert "$path"; done
  for path in in/../f.txt docs/../a.c; do run 0 env -C "$bob" "$scchost" revert "$path"; done
  keeps b.c '1 2 3 mine' docs/f.txt '1 2 3' a.c '1 2 3'
  in_bob 0 status in/g.txt docs/deep//g.txt "$bob/./docs/deep/g.txt"
  equal $'Up-to-date\t1.1.1.1\t1.1.1.1\t\tdocs/deep/g.txt' "$output"
  printf 'D/..////\nD/.////\nD/////\n' >>"$bob/docs/CVS/Entries"
  run 0 timeout 20 "$scchost" -C "$bob" status docs
  equal 2 "$(grep -c . <<<"$output")"
}

it_makes_no_directory_that_breaks_a_module() {
  local path
  take_tree
  for path in tool/{'x,v','#cvs.lock','#cvs.rfl.host.1/x',Attic/x,a.c/x,docs} -x /; do
    run 1 "$scchost" mkdir -- "$path"
  done
  for path in tool/x,w 'tool/#cvs' a/b/c; do run 0 "$scchost" mkdir -- "$path"; done
  run 0 "$scchost" ls -d tool
  equal $'#cvs\ndocs\nx,w' "$(LC_ALL=C sort <<<"$output")"
  does "$scratch" 'cvs -Q checkout -d again tool'
}

it_writes_a_revision_whole_or_not_at_all() {
  local arguments path
  take_tree
  export TMPDIR=$scratch/temporary
  mkdir -p "$TMPDIR" "$scratch/targets"
  yes 'a line of text' | head -n 33000 >"$ann/a.c"
  does "$ann" 'cvs -Q commit -m big'
  # Whatever is there stays when no revision comes.
  echo old >"$scratch/targets/old"
  printf '1\0\n' >"$bob/b.c"
  for arguments in logo.png b.c docs '-r 7.7 a.c' '-r none a.c' '-r 1.1 none.c'; do
    in_bob 1 cat -o "$scratch/targets/old" $arguments
    equal old "$(cat "$scratch/targets/old")"
  done
  # A full disk, for the revision and for the output.
  run 1 bash -c "ulimit -f 100; trap '' XFSZ; '$scchost' -C '$bob' cat -o '$scratch/targets/old' a.c"
  holds 'it could not be written to a temporary file'
  equal old "$(cat "$scratch/targets/old")"
  run 1 bash -c "'$scchost' -C '$bob' cat a.c >/dev/full"
  holds 'cannot write the standard output: No space left on device'
  in_bob 1 cat -o /dev/full a.c
  in_bob 1 cat -o "$scratch/none/such" a.c
  holds "cannot write $scratch/none/such: No such file or directory"
  run 1 bash -c "'$scchost' -C '$bob' cat a.c >&-"
  # Replaced as a whole, through a link and with its mode; a new file gets the usual mode.
  chmod 640 "$scratch/targets/old"
  ln -s targets/old "$scratch/link"
  (umask 027 && cd "$scratch" && in_bob 0 cat -o link a.c && in_bob 0 cat -r 1.1 -o targets/new a.c)
  cmp "$ann/a.c" "$scratch/targets/old" || fail 'the output differs'
  equal '1 2 3' "$(lines "$scratch/targets/new")"
  [ -L "$scratch/link" ] || fail 'the link is gone'
  equal $'640\n640' "$(stat -c %a "$scratch/targets/old" "$scratch/targets/new")"
  equal $'new\nold' "$(ls "$scratch/targets")"
  # What is not a file is written to.
  mkfifo "$scratch/pipe"
  cmp "$ann/a.c" "$scratch/pipe" &
  in_bob 0 cat -o "$scratch/pipe" a.c
  wait $! || fail 'the pipe got something else'
  ln -s /dev/stdout "$scratch/stdout"
  for path in /dev/stdout /proc/self/fd/1 "$scratch/stdout"; do
    echo 0 >"$scratch/log"
    "$scchost" -C "$bob" cat -o "$path" -r 1.1 a.c >>"$scratch/log" || fail "$path"
    equal '0 1 2 3' "$(lines "$scratch/log")"
  done
  "$scchost" -C "$bob" cat -o /dev/stderr -r 1.1 a.c 2>>"$scratch/log"
  equal '0 1 2 3 1 2 3' "$(lines "$scratch/log")"
  run 0 bash -o pipefail -c "! '$scchost' -C '$bob' cat a.c | head -n 1"
  equal 'a line of text' "$output"
  equal '' "$(ls -A "$TMPDIR")"
  in_bob 0 cat --force -r 1.1 logo.png
}

run_scenarios "$@"
