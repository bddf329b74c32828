#!/usr/bin/env bash
# scchost in the corners where work could be lost, or something said that nobody saw.
# shellcheck source-path=SCRIPTDIR source=shell.sh
. "$(dirname "$0")/shell.sh"
command -v cvs >/dev/null || skip "there is no cvs client on this machine"

export CVSROOT=$scratch/repository
ann=$scratch/ann bob=$scratch/bob
cvs init
run 0 "$scchost" mkdir tool
run 0 "$scchost" checkout "$ann" tool
for file in a.c dead.c id base.c z.c -dash; do printf '1\n2\n3\n' >"$ann/$file"; done
printf '1\0\n2' >"$ann/logo.png"
mkdir -p "$ann/docs/deep" "$ann/-dir"
for file in docs/f.txt docs/deep/g.txt -dir/x; do echo 1 >"$ann/$file"; done
run 0 "$scchost" -C "$ann" add -m first a.c dead.c id base.c z.c docs/f.txt docs/deep/g.txt
(cd "$ann/-dir" && cvs -Q import -m 'the client adds no such name' tool/-dir vendor start)
(cd "$ann" && cvs -Q add -kb logo.png && cvs -Q commit -m binary)
cvs -Q checkout -d "$bob" tool

# A name is a name, whatever it holds; without "--" too.
in_bob() { run "$1" "$scchost" -C "$bob" "${@:2}"; }
names=('[id]' '[a.c]' '[]' ++ '{}' %% status 'a,b')
for name in "${names[@]}"; do echo "of $name" >"$bob/$name"; done
in_bob 0 add "${names[@]}"
equal "$(printf 'added %s\n' "${names[@]}")" "$output"
echo changed | tee -a "$bob/a.c" "$bob/id" >/dev/null
for name in "${names[@]}"; do
  echo more >>"$bob/$name"
  in_bob 0 revert "$name"
  equal "reverted $name 1.1; your text is in .#$name.1.1" "$output"
  equal "of $name" "$(cat "$bob/$name")"
done
equal $'changed\nchanged' "$(cd "$bob" && tail -qn 1 a.c id)"
in_bob 0 revert a.c id
in_bob 2 update --clean ''
holds 'is empty'
in_bob 0 update -C "$bob" # the directory, as everywhere
equal 'nothing to update' "$output"

# Bad usage, and where the working copy is.
while IFS='|' read -r status arguments words; do
  # shellcheck disable=SC2086 # words
  in_bob "$status" $arguments
  holds "$words"
done <<'EOT'
2|status --clean|status has no option --clean
2|status -j 0|--jobs needs a number
2|-x status|invalid option -- 'x'
2|frob|there is no command frob
2|cat|usage: cat PATH
2|cat -r|option requires an argument -- 'r'
1|-C nope status|there is no directory nope
EOT
in_bob 2 -C '' status
ln -s "$bob" "$scratch/link"
run 0 env -C "$scratch/link" "$scchost" status "$scratch/link" "$scratch/link/docs/f.txt" docs
equal 1 "$(grep -c 'docs/f.txt$' <<<"$output")"

# Nothing is taken back that is not known to be unmodified. The columns are how the file came into
# its state, and what it holds.
sleep 1 # so that the client sees a change by its time
while IFS='|' read -r file change; do
  (cd "$bob" && eval "$change")
  wanted=$(cat "$bob/$file")
  in_bob 1 unedit "$file"
  holds "$file is not being edited"
  equal "$wanted" "$(cat "$bob/$file")"
done <<'EOT'
a.c|echo mine >>a.c
dead.c|echo mine >>dead.c; (cd "$ann" && rm dead.c && cvs -Q rm dead.c && cvs -Q commit -m gone)
z.c|sed -i s/1/bob/ z.c; (cd "$ann" && sed -i s/1/ann/ z.c && cvs -Q commit -m ann z.c); cvs -Q update z.c >"$scratch/merge" 2>&1
new.c|echo mine >new.c; cvs -Q add new.c
EOT
ln -s /nowhere/at/all "$bob/base.c.link"
mv "$bob/base.c" "$bob/kept" && ln -s /nowhere "$bob/base.c" # which blinds the whole directory
in_bob 1 unedit id
rm "$bob/base.c" "$bob/base.c.link" && mv "$bob/kept" "$bob/base.c"
(cd "$bob" && cvs -Q edit id base.c && echo mine | tee -a id >>base.c && touch -d 2040-01-01 id)
in_bob 1 unedit id
sed -i.all /^D/d "$bob/CVS/Entries" # then the client looks at what is there
(cd "$bob/docs" && cvs -Q edit f.txt && echo mine >>f.txt)
for path in . docs; do
  in_bob 1 unedit $path
  holds 'has changed since'
done
equal 'mine mine mine' "$(cd "$bob" && tail -qn 1 id base.c docs/f.txt | paste -sd ' ')"
in_bob 1 diff docs
mv "$bob/CVS/Entries.all" "$bob/CVS/Entries"
in_bob 0 unedit --revert id base.c docs
equal 'reverted base.c; your text is in .#base.c.1.1.kept
reverted docs/f.txt; your text is in docs/.#f.txt.1.1.kept
reverted id; your text is in .#id.1.1.kept' "$(sort <<<"$output")"

# A conflict stays one while the client does not replace the file.
run 1 "$scchost" -C "$bob" --client false revert z.c
equal 'scchost: update z.c failed; cvs update printed nothing on standard error
conflict in z.c
scchost: 1 file has a conflict: edit the conflict markers away, then commit' "$output"
in_bob 0 status z.c
equal $'conflict\t\t\t\tz.c' "$output"

# Every file by its own state, with words only where they were said about it.
in_bob 0 status a.c dead.c z.c new.c logo.png ./a.c "$bob/z.c"
equal $'Locally Modified\t1.1\t1.1\t\ta.c
dead\t\t\t\tdead.c
conflict\t\t\t\tz.c
added\t\t\t\tnew.c
Up-to-date\t1.1\t1.1\t\tlogo.png' "$output"
in_bob 1 status dead.c none.c z.c
equal "dead				dead.c
unknown				none.c
conflict				z.c
scchost: none.c: it is not under version control here; cvs rls said:
cvs rls: cannot find module \`tool/none.c' - ignored" "$output"
rm "$bob/-dir/x"
in_bob 0 status ./-dir/x
equal $'missing\t\t\t\t-dir/x' "$output"
rm -r "$bob/docs"
in_bob 1 update docs
holds 'docs is a missing directory'
in_bob 0 status docs
equal $'missing\t\t\t\tdocs/f.txt\nmissing\t\t\t\tdocs/deep/g.txt' "$output"
mkdir "$bob/plain"
mv "$bob/-dir/CVS/Entries" "$scratch/entries"
in_bob 1 status plain a.c ./-dir
equal 'Locally Modified	1.1	1.1		a.c
scchost: plain and 1 more: it has no CVS/Entries that can be read, so its files are not known' "$output"
for command in unedit 'edit --clean' 'unedit --revert'; do
  # shellcheck disable=SC2086 # words
  in_bob 1 $command ./-dir
  holds 'cannot tell what is in -dir'
done
in_bob 1 status --untracked ./-dir
equal '' "$(grep '^?' <<<"$output")"
mv "$scratch/entries" "$bob/-dir/CVS/Entries"
printf '*.tmp\n' >"$bob/.cvsignore"
touch "$bob/x.tmp" "$bob/x.o" "$bob/"$'bell\a'
in_bob 0 status --changed --untracked -j 1
changes=$output
equal $'?\t\t\t\tplain' "$(grep 'plain$' <<<"$changes")"
equal '' "$(grep -E 'x.(tmp|o)$|Up-to-date' <<<"$changes")"
in_bob 0 status --changed --untracked -j 16
equal "$changes" "$output"
run 0 script -qec "'$scchost' -C '$bob' status --untracked" /dev/null
holds 'bell?' ' files: ' '1 modified, 1 added, 1 with a conflict'

# It says what it saw happen, and else nothing.
in_bob 0 commit id
equal 'nothing is modified' "$output"
in_bob 1 unedit id
in_bob 1 update plain
holds 'plain is not under version control'
in_bob 1 update nowhere
holds 'nowhere is known neither here nor in the repository'
(cd "$ann" && mkdir gone && echo 1 >gone/f && "$scchost" add gone/f && cd "$bob" &&
  cvs -Q update -d gone && cd "$ann" && cvs -Q rm -f gone/f && cvs -Q commit -m gone) >/dev/null
echo 'update -P' >"$HOME/.cvsrc"
in_bob 0 update gone # which takes the directory away
holds 'removed gone/f'
rm "$HOME/.cvsrc"
mkdir "$bob/edits" && cp "$bob/id" "$bob/edits/one" && cp "$bob/id" "$bob/edits/two"
in_bob 0 add edits/one edits/two
echo mine >>"$bob/edits/two"
in_bob 0 edit --clean edits
equal $'editing edits/one\nediting edits/two; your text is in edits/.#two.1.1' "$output"
equal $'1\n2\n3' "$(cat "$bob/edits/two")"
in_bob 1 commit # with an open conflict
holds 'z.c: it has a conflict' 'nothing is committed'
in_bob 0 unedit edits
equal $'released edits/one\nreleased edits/two' "$output"
in_bob 0 revert z.c # an open conflict
equal 'reverted z.c 1.2; your text is in .#z.c.1.2.kept' "$output"
equal $'ann\n2\n3' "$(cat "$bob/z.c")"
printf '%s\n' 'exit 1' >"$CVSROOT/CVSROOT/verify"
(cd "$scratch" && cvs -Q checkout CVSROOT && cd CVSROOT && echo 'DEFAULT false' >>commitinfo &&
  cvs -Q commit -m refuse) 2>/dev/null
echo 1 >"$bob/late.c"
in_bob 1 add late.c
holds 'late.c is scheduled to be added; commit finishes it'
(cd "$scratch/CVSROOT" && sed -i '$d' commitinfo && cp commitinfo "$CVSROOT/CVSROOT/commitinfo")

# Differences as patch takes them, and a commit of all that is modified.
printf 'x\n' >>"$bob/logo.png"
printf '1\r\n2\r\n3\r\n' >"$bob/id"
in_bob 1 diff a.c logo.png id base.c
equal "--- a.c	revision 1.1
+++ a.c	working file
@@ -1,3 +1,4 @@
 1
 2
 3
+mine
Binary file logo.png differs
scchost: id differs only in its line ends" "$output"
in_bob 0 diff base.c
in_bob 2 diff none.c
in_bob 2 --client none diff
TMPDIR=/nowhere in_bob 2 diff a.c
printf '#!/bin/sh\nexit 7\n' >"$scratch/diff" && chmod +x "$scratch/diff"
PATH=$scratch:$PATH in_bob 2 diff a.c
holds 'diff could not compare a.c'
rm "$scratch/diff"
in_bob 0 revert logo.png id
(cd "$ann" && rm base.c && cvs -Q rm base.c && cvs -Q commit -m gone)
in_bob 1 commit
holds 'scchost: base.c: ' 'scchost: dead.c: ' # each by its name, as each wants to be looked at
in_bob 1 diff
rm "$bob/dead.c" "$bob/base.c"
in_bob 0 commit -m all
equal 'committing a.c
committing late.c
committing new.c
committed a.c 1.1 -> 1.2
committed late.c 1.1
committed new.c 1.1' "$output"
in_bob 0 commit
equal 'nothing is modified' "$output"
in_bob 1 add edits
holds 'edits is a directory under version control'
(cd "$bob" && rm edits/one && cvs -Q rm edits/one)
in_bob 1 revert edits/one
holds 'edits/one is still scheduled for removal'
in_bob 0 commit
equal $'committing edits/one\nremoved edits/one' "$output"

# A revision whole, or not at all.
echo kept >"$scratch/output"
cp "$bob/logo.png" "$bob/late.c" # which is as binary, if not marked
for arguments in logo.png late.c plain '-r 7.7 a.c' '-r none a.c' '-r 1.1 none.c'; do
  # shellcheck disable=SC2086 # words
  in_bob 1 cat -o "$scratch/output" $arguments
  equal kept "$(cat "$scratch/output")"
done
in_bob 0 cat --force -r 1.1 logo.png

# The repository.
run 1 "$scchost" mkdir tool/Attic/sub
holds 'the client keeps the name Attic for itself'
run 1 "$scchost" mkdir tool/a.c/sub/more
holds 'the repository has a file tool/a.c'
(cd "$scratch/CVSROOT" && echo 'alias tool/docs' >>modules && cvs -Q commit -m alias) 2>/dev/null
for module in tool tool/docs alias . tool/; do
  for words in is 'already is'; do
    run 0 "$scchost" checkout "$scratch/of ${module//\//-}" "$module"
    holds " $words a working copy of "
  done
done
run 1 "$scchost" checkout "$scratch/of alias" tool
holds 'already is a working copy, of tool/docs'
cvs -d "$scratch/other" init
mkdir "$scratch/other/tool"
run 1 "$scchost" --root "$scratch/other" checkout "$bob" tool
holds "of tool in the repository $CVSROOT"

# A password is asked for as users know it, and none is no login.
# shellcheck disable=SC2317 # "run" calls it
typed() {
  # The pause is for the prompt, which drops what was typed before it.
  { sleep 1; printf '%b' "$1"; sleep 1; } |
    timeout 20 script -qec "trap : INT; '$scchost' --root :pserver:ann@127.0.0.1:1/none login
      echo ended \$?; stty -a" /dev/null
}
run 0 typed '\003'
holds 'ended 130' ' echo '
run 0 typed '\004'
holds 'no password was given; not logged in' 'ended 1'
run 1 "$scchost" --root :pserver:ann@127.0.0.1:1/none login
holds 'no password was given'

# A script: every operation by its own name, and no client reads what is meant for scchost.
mkdir "$scratch/replies"
export STAND_IN=$scratch/replies
# shellcheck disable=SC2317 # "run" calls it
stand_in() { "$scchost" --client "$build/standIn" --root r "$@"; }
calls() {
  tr '\0' '\n' <"$STAND_IN/calls" |
    sed "s,^$scratch/bob,.,; s,^/[^|]* (empty[^|]*,TMP,; s,^/[^|]*,HOST,; s/|-d|r|/ /"
  rm "$STAND_IN/calls"
}
printf 'secret\r\n' | "$scchost" --client "$build/standIn" --root :pserver:r login >/dev/null
equal 'HOST|-d|:pserver:r|login|-p|secret' "$(calls)"

reply() { printf '%b' "$2" >"$STAND_IN/$1.out" && echo "$3" >"$STAND_IN/$1.exit"; }
reply status "File: a.c\tStatus: Needs Patch\n\n\tWorking revision:\t1.1\n\tRepository revision:\t1.2\n" 0
reply rls '/f.c/1.1///\nD/sub////\n' 0
reply import '' 1
# The columns are an operation, its result, and the client's command.
script=$scratch/script results=$scratch/results commands=$scratch/commands
while IFS='|' read -r operation result command; do
  printf '%s\n' "$operation" >>"$script"
  printf '%s: %s\n' "${operation%% *}" "$result" >>"$results"
  [ -z "$command" ] || printf '%b\n' "$command" >>"$commands"
done <<EOT
setRoots '$bob'|true|
setRoots '$bob' other|true|
setRoots '$bob'|true|
getLocalRoot|"$bob"|
getRemoteRoot|"tool"|
getRoot|"."|
setOption "Environment/Source Code Control/CVSEditSupported" Yes|true|
setOption none Yes|false|
checkOutSupported|true|
iterateRepositoryList|1|
login "a \\"b\\\\" null s|true|
getRepositoryListEntry|"s"|
login ann '' r|true|
status a.c|true controlled=true edited=false modified=false outOfDate=true statusText="Needs Patch" workingRevision="1.1" repositoryRevision="1.2"|. status\x7c-l\n. editors\x7c-l
saved a.c|true|. status\x7c-l\x7ca.c\n. editors\x7ca.c
refresh|true|
logout|true|
addFile n.c "x\\ty"|true|. add\x7cn.c\n. commit\x7c-m\x7cx\ty\x7cn.c
getFile a.c false|true|. update\x7c-C\x7ca.c
getTo a.c 1.1 '$scratch/to'|true|. update\x7c-p\x7c-r\x7c1.1\x7ca.c
checkout b.c null false|true|. status\x7c-l\n. editors\x7c-l\n. edit\x7cb.c\n. status\x7c-l\x7cb.c\n. editors\x7cb.c
undoCheckout b.c true|true|. unedit\x7c-y\x7cb.c\n. update\x7c-C\x7cb.c\n. status\x7c-l\x7cb.c\n. editors\x7cb.c
merged a b|false|
refreshDirectoriesList x|true|
iterateRemoteDirectory lib true|1|HOST -q\x7crls\x7c-e\x7clib
getRemoteDirectoryEntry|"sub"|
getRemoteDirectoryEntry|null|
createDirectory lib new|false|TMP import\x7c-m\x7cQuillmarsh Generated\x7clib/new\x7cann\x7cstart
getLastErrorCommand|"import"|
getLastError|""|
preMulti|done|
checkin d.c null|true|
postMulti|true|. commit\x7c-m\x7cno comment\x7cd.c\n. status\x7c-l\x7cd.c\n. editors\x7cd.c
EOT
sed -i '1s/^/\xef\xbb\xbf/' "$script"
run 1 stand_in run "$script"
equal "$(cat "$results")" "$output"
equal "$(cat "$commands")" "$(calls)"

# A listing that failed and a batch that never ran are failures.
reply rls '' 1
for lines in 'iterateRemoteDirectory lib true' "setRoots '$bob'\npreMulti\ncheckin a.c null"; do
  printf '%b\n' "$lines" >"$script"
  run 1 stand_in run "$script"
done
holds 'the batch that preMulti opened was never run'
printf '#!/bin/sh\ncat >/dev/null\n' >"$scratch/reader"
chmod +x "$scratch/reader"
run 0 sh -c "printf 'logout\nlogin a b r\ngetRoot\n' |
  '$scchost' --client '$scratch/reader' --root r run"
equal $'logout: true\nlogin: true\ngetRoot: "."' "$output"
run 0 sh -c "printf '%s\n' 'setRoots \"$bob\"' 'saved x' 'checkin x y' getRoot |
  '$scchost' --client '$scratch/reader' --root r run"
holds 'getRoot: "."'

# Ctrl-C ends everything at once, and leaves no half line.
printf '#!/bin/sh\necho $$ >>"%s"\nexec sleep 30\n' "$scratch/started" >"$scratch/reader"
# shellcheck disable=SC2317 # "run" calls it
interrupt() {
  { sleep 2; printf '\003'; sleep 1; } | timeout 20 script -qec "trap : INT
    '$scchost' --client '$scratch/reader' --root r -C '$bob' $*; echo ended \$?" /dev/null
}
for command in 'status -j 3' 'commit a.c'; do
  : >"$scratch/started"
  # shellcheck disable=SC2086 # words
  run 0 interrupt $command
  holds 'ended 130'
  equal '' "$(xargs ps -o stat=,args= -p <"$scratch/started" | grep -v '^Z')"
  [ -s "$scratch/started" ] || fail 'no client was started'
done

# What takes long is said on a terminal, and goes without a trace; in a pipe nothing is.
printf '#!/bin/sh\nsleep 3\n' >"$scratch/reader"
run 0 script -qec "'$scchost' --client '$scratch/reader' --root r -C '$bob' commit a.c" /dev/null
holds 'still running: cvs commit, 2 s' $'\r\033[K'
run 0 "$scchost" --client "$scratch/reader" --root r -C "$bob" commit a.c
equal 'nothing is modified' "$output"
finish
