#!/usr/bin/env bash
# What scchost says, and how it ends.
. "$(dirname "$0")/shell.sh"

# says: runs scchost in bob's working copy for each line of the input, which has the exit status, the
# words of the command, and what is said, with "~" for a line end; nothing else is where "=" begins it.
says() {
  local status words said
  while IFS='|' read -r status words said; do
    eval "run $status timeout 20 '$scchost' -C '$bob' $words"
    said=${said//\~/$'\n'}
    if [ "${said:0:1}" = = ]; then equal "${said:1}" "$output"; else holds "$said"; fi
  done
}

it_checks_out_what_is_asked_for() {
  local work=$scratch/work
  take_tree
  run 0 "$scchost" checkout "$work" tool
  equal "$work is a working copy of tool
directories that are not here: docs; cvs update -d brings them" "$output"
  sed -i /a.c/d "$work/CVS/Entries" # as an interruption leaves it
  rm "$work/a.c" "$work/b.c"
  does "$work" 'cvs -Q rm -f c.c'
  run 0 "$scchost" checkout "$work/" tool/
  holds "$work already is a working copy of tool" $'restored a.c\nrestored b.c\n'
  cmp "$ann/a.c" "$work/a.c" || fail 'a.c differs'
  [ ! -e "$work/c.c" ] || fail 'c.c came back'
  cvs -d "$scratch/other" init
  does "$scratch" 'cvs -Q checkout CVSROOT && cd CVSROOT && echo "alias tool/docs" >>modules && cvs -Q commit -m alias'
  mkdir "$scratch/empty" "$scratch/full"
  echo mine >"$scratch/full/a.c"
  while IFS='|' read -r status local remote said; do
    run "$status" "$scchost" -C "$scratch" checkout "$local" "$remote"
    holds "$said"
  done <<'EOT'
0|empty|tool/docs|empty is a working copy of tool/docs
1|empty|alias|empty already is a working copy, of tool/docs
1|empty|tool|empty already is a working copy, of tool/docs
1|full|tool|full is neither empty nor a working copy
1|file|tool/a.c|tool/a.c is a file; check out the directory that it is in
1|none/such|tool|there is no directory
EOT
  equal mine "$(cat "$scratch/full/a.c")"
  mkdir "$scratch/closed" && chmod a-w "$scratch/closed"
  "$scchost" checkout "$scratch/closed/work" tool 2>"$scratch/said"
  [ "$(id -u)" -eq 0 ] || grep -q "cannot write to $scratch/closed: Perm" "$scratch/said" || fail said
  run 1 "$scchost" --root "$scratch/other" checkout "$work" tool
  holds "already is a working copy, of tool in the repository $CVSROOT"
}

it_names_what_it_left_alone() {
  take_tree
  mkdir "$ann/nd" && echo 1 >"$ann/nd/n.c"
  does "$ann" 'cvs -Q add nd nd/n.c && cvs -Q commit -m nd && cvs -Q rm -f d.c && cvs -Q commit -m gone'
  echo 1 | tee "$bob/plain.c" >"$bob/added.c"
  does "$bob" 'cvs -Q add added.c && cvs -Q rm -f b.c && cvs -Q edit d.c'
  echo mine >>"$bob/d.c"
  rm "$bob/a.c" && mkdir "$bob/a.c"
  mv "$bob/docs/deep" "$scratch/deep"
  rm "$bob/e.c"
  says <<'EOT'
1|commit e.c|=scchost: e.c: it is missing; update brings it
2|diff e.c|=scchost: e.c: it is missing
2|diff added.c|=scchost: added.c: it is added
2|diff b.c|=scchost: b.c: it is removed
1|update a.c|a.c has a directory in its place
1|revert a.c|a.c has a directory in its place
1|update b.c|=scchost: b.c is still scheduled for removal; add brings it back
1|update added.c|added.c is still scheduled to be added
1|update plain.c|plain.c is not under version control
1|revert none.c|none.c is known neither here nor in the repository
1|update docs/deep|docs/deep is a missing directory; cvs update -d restores it
1|update nd|nd is a directory in the repository; cvs update -d nd brings it
1|status nd|nd: it is a directory in the repository; cvs update -d nd brings it
1|status none.c|=unknown				none.c~scchost: none.c: it is not under version control here; cvs rls said:~cvs rls: cannot find module `tool/none.c' - ignored
1|edit --clean d.c|=scchost: d.c cannot be replaced: the provider tells no state of it
1|unedit d.c|d.c has changed since its edit was announced
1|unedit --revert d.c|d.c cannot be replaced: the provider tells no state of it
0|update c.c|=nothing to update
0|revert c.c|=nothing to revert
1|unedit docs|docs/deep is a missing
0|cat c.c|=1~2~3
1|cat none.c|=scchost: cannot fetch revision HEAD of none.c: neither the working copy nor the repository knows it
1|cat -r 9.9 c.c|=scchost: cannot fetch revision 9.9 of c.c: it may have no such revision; cvs update said:~cvs update: `c.c' is no longer in the repository
0|ls tool/c.c|=c.c
0|ls tool/docs|=f.txt
1|ls ./-R|the client would take that for an option
1|--client true status c.c|scchost: .: the client told nothing of its files
1|--client false edit c.c|=scchost: edit c.c failed; cvs edit printed nothing on standard error
EOT
  equal '1 2 3 mine' "$(lines "$bob/d.c")"
}
it_says_where_patch_may_refuse() {
  take_tree
  sed -i '2s/$/ mine/' "$bob/a.c"
  printf '1\r\n2\r\n3\r\n' >"$bob/b.c"
  printf '1\r\n2\r\n3\r\nmine\r\n' >"$bob/c.c"
  printf '1\n2\n3\nmine' >"$bob/d.c"
  printf '1\0\n' >"$bob/e.c"
  says <<'EOT'
1|diff b.c|=scchost: b.c differs only in its line ends
1|diff c.c|+mine~scchost: c.c has other line ends than line feeds
1|diff d.c|+mine~scchost: d.c has other line ends than line feeds
1|diff e.c|=Binary file e.c differs
0|diff docs|=
EOT
  in_bob 1 diff a.c
  equal "--- a.c	revision 1.1.1.1
+++ a.c	working file
@@ -1,3 +1,3 @@
 1
-2
+2 mine
 3" "$output"
  patch -s "$ann/a.c" <<<"$output"
  cmp "$ann/a.c" "$bob/a.c" || fail 'the patched file differs'
  yes line | head -n 100000 >"$bob/a.c"
  run 0 bash -o pipefail -c "! '$scchost' -C '$bob' diff a.c | head -n 1"
  equal $'--- a.c\trevision 1.1.1.1' "$output"
}

it_tells_what_to_do_about_conflicts() {
  take_tree
  echo ann | tee -a "$ann/logo.png" >>"$ann/a.c"
  echo bob | tee -a "$bob/logo.png" >>"$bob/a.c"
  does "$ann" 'cvs -Q commit -m ann'
  does "$bob" 'echo 1 >nd && cvs -Q add nd'
  in_bob 1 update
  equal 'conflict in a.c; your text is in .#a.c.1.1.1.1
conflict in logo.png; your text is in .#logo.png.1.1.1.1
scchost: 1 file has a conflict: edit the conflict markers away, then commit
scchost: 1 binary file has a conflict: it is the repository'\''s now, and yours is .#NAME.REVISION beside it; copy that back and commit, or revert' "$output"
  says <<'EOT'
1|update|=conflict in a.c~conflict in logo.png~scchost: 1 file has a conflict: edit the conflict markers away, then commit~scchost: 1 binary file has a conflict: it is the repository's now, and yours is .#NAME.REVISION beside it; copy that back and commit, or revert
2|diff a.c|=scchost: a.c: it has a conflict, to be resolved first
1|cat a.c|the file has a conflict; edit the conflict markers away first
2|diff logo.png|=scchost: logo.png: it has a conflict, to be resolved first
1|commit a.c|had a conflict and has not been modified
1|update a.c nd|nd is still scheduled to be added
EOT
  cp "$bob/.#logo.png.1.1.1.1" "$bob/logo.png"
  sed -i '/^[<=>]\{7\}/d' "$bob/a.c"
  in_bob 0 commit
  holds 'committed a.c 1.2 -> 1.3' 'committed logo.png 1.2 -> 1.3'
  cvs -Q checkout -p tool/logo.png | cmp - "$bob/logo.png" || fail 'the binary file differs'
  in_ann 0 update a.c
  echo ann >>"$ann/logo.png"
  in_ann 1 update
  in_ann 0 revert logo.png
  equal 'reverted logo.png 1.3' "$output"
}

it_writes_one_row_a_line_whatever_a_name_holds() {
  local name
  take_tree
  local names=($'line\nfeed' $'tab\tinside' '"quoted"' "'single" 'plain "quote"' $'bell\a')
  for name in "${names[@]}"; do echo 1 >"$bob/$name"; done
  in_bob 0 add "${names[@]:1}"
  equal $'added "tab\\tinside"\nadded "\\"quoted\\""\nadded "\'single"\nadded plain "quote"\nadded "bell\a"' "$output"
  in_bob 0 status --untracked --changed
  equal $'?\t\t\t\t"line\\nfeed"' "$output"
  echo 2 >>"$bob/tab	inside"
  in_bob 1 diff
  holds $'--- "tab\\tinside"\trevision 1.1'
  # As it is written there, run reads it.
  in_bob 0 status
  printf "setRoots '%s'\n" "$bob" >"$scratch/script"
  cut -f 5 <<<"$output" | sed -n 's/^"/status "/p' >>"$scratch/script"
  run 0 "$scchost" run "$scratch/script"
  equal 4 "$(grep -c '^status: true' <<<"$output")"
  run 0 script -qec "'$scchost' -C '$bob' status --untracked" /dev/null
  holds ' line?feed' ' tab?inside' ' "quoted"' ' bell?' ' files: '
}

it_runs_one_client_a_directory() {
  take_tree
  program counting "echo >>'$scratch/count'; exec cvs \"\$@\""
  # counts CLIENTS COMMAND...
  counts() {
    : >"$scratch/count"
    in_bob 0 --client "$scratch/counting" "${@:2}"
    equal "$1" "$(grep -c '' "$scratch/count")"
  }
  counts 3 status
  rm "$bob/b.c" "$bob/c.c" "$bob/docs/deep/g.txt"
  counts 2 status
  equal 3 "$(grep -c ^missing <<<"$output")"
  does "$ann" 'cvs -Q rm -f d.c e.c && cvs -Q commit -m gone'
  echo mine | tee -a "$bob/d.c" >>"$bob/e.c"
  counts 4 status --changed # one for each of the two, too
  equal 2 "$(grep -c ^dead <<<"$output")"
}

it_knows_whether_a_directory_was_read() {
  take_tree
  # A client that fails for one directory only, though its repository can be listed.
  program failing 'case $PWD-$* in */docs-*status*) echo broken >&2; exit 1 ;; esac; exec cvs "$@"'
  in_bob 1 --client "$scratch/failing" status
  holds $'no status\t\t\t\tdocs/f.txt' $'Up-to-date\t1.1.1.1\t1.1.1.1\t\tdocs/deep/g.txt' \
    $'scchost: docs: status failed; cvs status said:\nbroken'
  in_bob 1 --client "$scratch/failing" commit
  holds 'nothing is committed'
}

it_says_when_names_do_not_fit() {
  local name
  take_tree
  mkdir -p "$scratch/source/few"
  for name in {1..900}; do echo 1 >"$scratch/source/$name$(printf '%0140d' 0).txt"; done
  echo 1 >"$scratch/source/few/one.c"
  does "$scratch/source" 'cvs -Q import -m many many v s'
  does "$scratch" 'cvs -Q checkout many'
  find "$scratch/many" -name '*.txt' -exec sed -i s/1/2/ {} +
  run 1 bash -c "ulimit -s 512 && '$scchost' -C '$scratch/many' commit"
  holds 'the names may be more than one command line holds; name fewer files'
  sed -i s/1/2/ "$scratch/many/few/one.c"
  run 0 bash -c "ulimit -s 512 && '$scchost' -C '$scratch/many' commit few"
  run 0 "$scchost" -C "$scratch/many" commit
  equal 900 "$(grep -c '^committed' <<<"$output")"
}

it_passes_on_what_the_client_warns_of() {
  local command
  take_tree
  program warning 'printf "cvs $3: heed this\ncvs $3: Updating .\n" >&2; exec cvs "$@"'
  export CVS_GNU_CLIENT=$scratch/warning
  echo mine >>"$bob/a.c"
  for command in 'edit b.c' 'unedit b.c' 'update a.c' 'commit a.c'; do
    in_bob 0 $command
    holds ": heed this"
    case $output in *Updating*) fail "$output" ;; esac
  done
}

it_completes_what_its_help_lists() {
  local line wanted
  mkdir -p "$scratch/there/docs" && touch "$scratch/there/main.c" "$scratch/here"
  # shellcheck source=../packaging/completion.bash
  . "$sources/packaging/completion.bash"
  while IFS='|' read -r line wanted; do
    read -ra COMP_WORDS <<<"$line"
    [ "${line: -1}" != ' ' ] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _scchost "$scchost" "${COMP_WORDS[COMP_CWORD]}"
    equal "$line|$wanted" "$line|${COMPREPLY[*]}"
  done <<'EOT'
scchost sta|status
scchost --directory = the|there
scchost -j 4 sta|status
scchost -C there diff d|docs/
scchost add he|here
scchost cat -C there -o he|here
scchost ls he|
EOT
}

it_takes_any_name() {
  local name added ended state
  take_tree
  echo 'cvs -q' >"$HOME/.cvsrc"
  # The exit statuses of adding it and of asking for its state: two are no names to the client.
  while IFS='|' read -r name added ended state; do
    echo 1 >"$bob/$name"
    in_bob "$added" add -- "$name"
    [ "$added" -eq 0 ] || does "$bob" "cvs -Q add -- '$name' && cvs -Q commit -m x -- '$name'"
    echo 2 >>"$bob/$name"
    in_bob "$ended" status -- "$name"
    equal "$state" "$(cut -f 1 <<<"${output%%$'\n'*}")"
    in_bob 0 commit -m "about $name" -- "$name"
    rm -f "$bob/$name"
    in_bob 0 status -- "$name"
    holds missing
    in_bob 0 update -- "$name"
    equal '1 2' "$(lines "$bob/$name")"
  done <<'EOT'
with two  spaces.txt|0|0|Locally Modified
naïve – ü.txt|0|0|Locally Modified
it's "quoted" $HOME; &.txt|0|0|Locally Modified
no file really.txt|0|0|Locally Modified
-dash.txt|1|0|Locally Modified
File: Status: x.txt|0|1|no status
EOT
}

it_refuses_what_makes_no_sense() {
  take_tree
  says <<EOT
2|status --clean|status has no option --clean
2|status -j 4294967297|--jobs needs a number from 1 to 1000
2|frob|there is no command frob
2||no command given
2|cat|usage: cat PATH
1|-C nope status|there is no directory nope
1|-C / status|=scchost: / is not a working copy: it has no CVS/Repository that can be read
1|--client none status a.c|there is no program none; install it, or name another with --client
1|--library /etc/passwd status|scchost: cannot load the provider: /etc/passwd
2|diff none.c|it is not under version control here
EOT
  rm "$bob/CVS/Root"
  run 1 env -u CVSROOT "$scchost" -C "$bob" ls
  holds 'which repository?'
}

it_shows_every_state() {
  take_tree
  does "$ann" 'echo 4 | tee -a a.c >>b.c && cvs -Q rm -f e.c && cvs -Q commit -m ann'
  echo mine | tee "$bob/new.c" "$bob/plain.o" "$bob/ignored" >>"$bob/c.c"
  echo ignored >"$bob/.cvsignore"
  mkdir "$bob/plain"
  does "$bob" 'sed -i 1s/1/one/ a.c && cvs -Q add new.c && cvs -Q rm -f d.c && cvs -Q edit c.c &&
    echo mine >>e.c && rm docs/f.txt && rm -r docs/deep'
  in_bob 0 --edit status --untracked -j 16
  equal 'Needs Merge	1.1.1.1	1.2		a.c
Needs Patch	1.1.1.1	1.2		b.c
Locally Modified	1.1.1.1	1.1.1.1	edited	c.c
removed				d.c
dead				e.c
Up-to-date	1.1.1.1	1.1.1.1		logo.png
added				new.c
?				.cvsignore
?				plain
missing				docs/f.txt
missing				docs/deep/g.txt' "$output"
  in_bob 0 --edit status --changed docs c.c ./c.c "$bob/c.c" logo.png
  equal $'missing\t\t\t\tdocs/f.txt\nmissing\t\t\t\tdocs/deep/g.txt
Locally Modified\t1.1.1.1\t1.1.1.1\tedited\tc.c' "$output"
  # On a terminal with headings, colours, and a last line.
  run 0 env -u NO_COLOR script -qec "'$scchost' -C '$bob' status" /dev/null
  holds 'STATUS            WORKING  REPOSITORY  EDITED  PATH' $'\033[31mNeeds Merge       \033[0m1.1.1.1  1.2                 a.c' \
    '9 files: 1 up to date, 1 modified, 1 added, 1 removed, 1 to be merged, 1 to be patched, 2 missing, 1 dead'
  run 0 env NO_COLOR=1 script -qec "'$scchost' -C '$bob' status c.c" /dev/null
  [[ $output != *$'\033'* ]] || fail "colour in: $output"
  # Directories whose files are not known.
  rm "$bob/docs/CVS/Entries"
  in_bob 1 status --untracked plain docs logo.png
  equal $'Up-to-date\t1.1.1.1\t1.1.1.1\t\tlogo.png
scchost: plain and 1 more: it has no CVS/Entries that can be read, so its files are not known' "$output"
  in_bob 1 unedit docs
  holds 'cannot tell what is in docs'
  sed -i /^D/d "$bob/CVS/Entries" # then the client looks at what is there
  in_bob 1 status
  holds 'docs: it has no CVS/Entries'
}

it_says_what_it_saw_happen() {
  take_tree
  does "$ann" 'sed -i 1s/1/ann/ a.c && sed -i 9s/9/ann/ e.c && cvs -Q commit -m ann && mkdir gone &&
    echo 1 >gone/f && cvs -Q add gone gone/f && cvs -Q commit -m gone'
  does "$bob" 'cvs -Q update -d gone && echo mine >new.c && sed -i 1s/1/one/ e.c && rm b.c'
  does "$ann" 'cvs -Q rm -f gone/f && cvs -Q commit -m gone'
  echo 'update -P' >"$HOME/.cvsrc" # which takes an empty directory away
  says <<'EOT'
1|commit -m Mine e.c|scchost: commit e.c failed; cvs commit said:~cvs commit: Up-to-date check failed for `e.c'
0|update a.c b.c e.c gone|=cvs update: `gone/f' is no longer in the repository~updated a.c 1.1.1.1 -> 1.2~restored b.c 1.1.1.1~merged e.c 1.1.1.1 -> 1.2; your text is in .#e.c.1.1.1.1~removed gone/f
0|add -m 'The "new" file' new.c|=added new.c
0|commit -m Mine|=committing e.c~committed e.c 1.2 -> 1.3
0|commit a.c b.c|=nothing is modified
EOT
  run 0 cvs rlog tool/new.c
  holds 'The "new" file'
  rm "$HOME/.cvsrc"
  echo mine >>"$bob/a.c"
  run 0 env --ignore-signal=CHLD "$scchost" -C "$bob" commit a.c
  equal 'committed a.c 1.2 -> 1.3' "$output"
  # A commit that the repository refuses leaves an added file scheduled.
  does "$scratch" 'cvs -Q checkout CVSROOT && cd CVSROOT && echo "DEFAULT false" >>commitinfo && cvs -Q commit -m no'
  echo 1 >"$bob/late.c"
  in_bob 1 add late.c
  holds 'late.c is scheduled to be added; commit finishes it'
  cp -f "$scratch/CVSROOT/loginfo" "$CVSROOT/CVSROOT/commitinfo"
  does "$bob" 'cvs -Q rm -f new.c && echo D/lost//// >>CVS/Entries' # which keeps nobody from a commit
  says <<'EOT'
0|commit|=committing late.c~committing new.c~committed late.c 1.1~removed new.c
EOT
}

it_asks_for_a_password_where_one_is_needed() {
  local root
  # The pause is for the prompt, which drops what was typed before it.
  typed() {
    { sleep 1; printf '%b' "$1"; sleep 1; } |
      timeout 20 script -qec "trap : INT; '$scchost' --client '$build/standIn' --root :pserver:h:/r login
        echo ended \$?; stty -a" /dev/null
  }
  for root in /r :local:/r :fork:/r :ext:h:/r ':ext;CVS_RSH=x:ann@h:/r' ann@h:/r :server:h:/r; do
    run 0 "$scchost" --root "$root" login
    equal "no login is needed for $root" "$output"
  done
  run 1 "$scchost" --root :pserver:h:/r login
  holds 'no password was given'
  mkdir "$scratch/replies"
  export STAND_IN=$scratch/replies
  run 0 typed '\003'
  holds 'ended 130' ' echo '
  run 0 typed '\004'
  holds 'no password was given; not logged in' 'ended 1' ' echo '
  [ ! -e "$STAND_IN/calls" ] || fail 'a login without a password'
  run 0 typed 'pass\\\\nword -n\n'
  holds 'Password for :pserver:h:/r: ' 'logged in' 'ended 0' ' echo '
  [[ $output != *nword* ]] || fail 'the password is shown'
  printf '%s\r\n' 'a word' | "$scchost" --client "$build/standIn" --root :pserver:h:/r login >"$scratch/said"
  equal '|-d|:pserver:h:/r|login|-p|pass\\nword -n
|-d|:pserver:h:/r|login|-p|a word' "$(tr '\0' '\n' <"$STAND_IN/calls" | sed 's/^[^|]*//')"
}

# The stand-in client replays what is prepared, and writes down how it was called.
stand_in() { "$scchost" --client "$build/standIn" --root r "$@"; }
reply() { printf '%b' "$2" >"$STAND_IN/$1.out" && echo "$3" >"$STAND_IN/$1.exit"; }

it_runs_every_operation_by_its_name() {
  local operation result command
  local script=$scratch/script results=$scratch/results commands=$scratch/commands
  export STAND_IN=$scratch/replies
  mkdir -p "$STAND_IN" "$scratch/work/CVS"
  echo tool >"$scratch/work/CVS/Repository"
  reply status "File: a.c\tStatus: Needs Patch\n\n\tWorking revision:\t1.1\n\tRepository revision:\t1.2\n" 0
  reply rls '/f.c/1.1///\nD/sub////\n' 0
  reply import '' 1
  # An operation, its result, and the client's command.
  while IFS='|' read -r operation result command; do
    printf '%s\n' "$operation" >>"$script"
    printf '%s: %s\n' "${operation%% *}" "$result" >>"$results"
    [ -z "$command" ] || printf '%b\n' "$command" >>"$commands"
  done <<EOT
setRoots '$scratch/work'|true|
setRoots '$scratch/work' other|true|
setRoots '$scratch/work'|true|
getLocalRoot|"$scratch/work"|
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
  equal "$(cat "$commands")" "$(tr '\0' '\n' <"$STAND_IN/calls" |
    sed "s,^$scratch/work,.,; s,^/[^|]* (empty[^|]*,TMP,; s,^/[^|]*,HOST,; s/|-d|r|/ /")"

  # A listing that failed, a batch that never ran, and lines that make no sense.
  reply rls '' 1
  while IFS='|' read -r result operation command; do
    rm -f "$STAND_IN/calls"
    printf '%b\n' "$operation" >"$script"
    run "$result" stand_in run "$script"
    holds "$command"
    [ "$result" -ne 2 ] || [ ! -e "$STAND_IN/calls" ] || fail 'a script with a bad line did something'
  done <<EOT
1|iterateRemoteDirectory lib true|iterateRemoteDirectory: 0
1|setRoots '$scratch/work'\npreMulti\ncheckin a.c null|the batch that preMulti opened was never run
2|setRoots '$scratch/work'\nstatus "a|script:2: unterminated quote or escape
2|status a\nmerged|script:2: expected merged FIRST SECOND
2|getFile a.c maybe|script:1: expected getFile FILE true
EOT
  run 2 stand_in run "$scratch"
  # No client reads the lines that are meant for scchost.
  program reader 'cat >/dev/null'
  run 2 sh -c "printf '%s\n' 'setRoots \"$scratch/work\"' 'checkin x y' getRoot frob |
    '$scchost' --client '$scratch/reader' --root r run"
  holds 'getRoot: "."' 'standard input:4: expected an operation'
}

it_ends_with_its_clients() {
  local command
  interrupt() {
    { sleep 1; printf '\003'; sleep 1; } | timeout 20 script -qec "trap : INT
      '$scchost' --client '$scratch/reader' -C '$bob' $*; echo ended \$?" /dev/null
  }
  take_tree
  program reader "echo \$\$ >>'$scratch/started'; exec sleep 30"
  for command in 'status -j 3' 'commit a.c'; do
    : >"$scratch/started"
    run 0 interrupt $command
    holds 'ended 130'
    equal '' "$(xargs ps -o stat=,args= -p <"$scratch/started" | grep -v '^Z')"
    [ -s "$scratch/started" ] || fail 'no client was started'
  done
  # What takes long is said on a terminal, and goes without a trace; in a pipe nothing is.
  program reader 'sleep 3'
  run 0 script -qec "'$scchost' --client '$scratch/reader' -C '$bob' commit a.c" /dev/null
  holds 'still running: cvs commit, 2 s' $'\r\033[K'
  in_bob 0 --client "$scratch/reader" commit a.c
  equal 'nothing is modified' "$output"
}

run_scenarios "$@"
