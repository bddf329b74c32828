#!/usr/bin/env bash
# What scchost says, and how it ends.
# shellcheck source-path=SCRIPTDIR source=shell.sh
# shellcheck disable=SC2016,SC2119,SC2317 # scripts of other shells; called by name, and without arguments
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

it_sees_the_end_of_its_client() {
  take_tree
  echo mine >>"$bob/a.c"
  run 0 env --ignore-signal=CHLD "$scchost" -C "$bob" commit a.c
  equal 'committed a.c 1.1.1.1 -> 1.2' "$output"
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
  mkdir "$scratch/empty" "$scratch/full" "$scratch/closed"
  echo mine >"$scratch/full/a.c"
  chmod a-w "$scratch/closed"
  while IFS='|' read -r status local remote said; do
    run "$status" "$scchost" -C "$scratch" checkout "$local" "$remote"
    holds "$said"
  done <<'EOT'
0|empty|tool/docs|empty is a working copy of tool/docs
0|empty|alias|empty already is a working copy of tool/docs
1|empty|tool|empty already is a working copy, of tool/docs
0|top|.|top is a working copy of .
1|full|tool|full is neither empty nor a working copy
1|file|tool/a.c|tool/a.c is a file; check out the directory that it is in
1|none/such|tool|there is no directory
1|none|no/such|cannot find module
EOT
  equal mine "$(cat "$scratch/full/a.c")"
  [ "$(id -u)" -eq 0 ] || run 1 "$scchost" checkout "$scratch/closed/work" tool
  [ "$(id -u)" -eq 0 ] || holds "cannot write to $scratch/closed: Permission denied"
  run 1 "$scchost" --root "$scratch/other" checkout "$work" tool
  holds "already is a working copy, of tool in the repository $CVSROOT"
}

it_asks_for_no_password_where_none_is_needed() {
  local root
  for root in /r :local:/r :fork:/r :ext:h:/r ':ext;CVS_RSH=x:ann@h:/r' ann@h:/r :server:h:/r; do
    for command in login logout; do
      run 0 "$scchost" --root "$root" "$command"
      equal "no login is needed for $root" "$output"
    done
  done
  run 1 "$scchost" --root :pserver:h:/r login
  holds 'no password was given'
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
  says <<'EOT'
1|update a.c|a.c has a directory in its place
1|revert a.c|a.c has a directory in its place
1|update b.c|=scchost: b.c is still scheduled for removal; add brings it back
1|revert b.c|b.c is still scheduled for removal
1|update added.c|added.c is still scheduled to be added
1|update plain.c|plain.c is not under version control
1|revert none.c|none.c is known neither here nor in the repository
1|update docs/deep|docs/deep is a missing directory; cvs update -d restores it
1|unedit docs/deep|docs/deep is a missing directory
1|update nd|nd is a directory in the repository; cvs update -d nd brings it
1|status nd|nd: it is a directory in the repository; cvs update -d nd brings it
1|status none.c|=unknown				none.c~scchost: none.c: it is not under version control here; cvs rls said:~cvs rls: cannot find module `tool/none.c' - ignored
1|edit --clean d.c|=scchost: d.c cannot be replaced: the provider tells no state of it
1|unedit d.c|d.c has changed since its edit was announced
1|unedit --revert d.c|d.c cannot be replaced: the provider tells no state of it
1|unedit c.c|=scchost: c.c is not being edited
1|unedit none.c|=scchost: none.c is not being edited
0|update c.c|=nothing to update
0|revert c.c|=nothing to revert
0|commit c.c|=nothing is modified
1|unedit docs|docs/deep is a missing
0|cat c.c|=1~2~3
1|cat none.c|=scchost: cannot fetch revision HEAD of none.c: neither the working copy nor the repository knows it
1|cat -r 9.9 c.c|=scchost: cannot fetch revision 9.9 of c.c: it may have no such revision; cvs update said:~cvs update: `c.c' is no longer in the repository
1|cat docs|docs is a directory
0|ls tool/c.c|=c.c
0|ls tool/docs|=f.txt
1|ls ./-R|the client would take that for an option
1|--client true status c.c|scchost: .: the client told nothing of its files
2|status -j 4294967297|--jobs needs a number from 1 to 1000
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
  in_bob 1 update
  equal 'conflict in a.c; your text is in .#a.c.1.1.1.1
conflict in logo.png; your text is in .#logo.png.1.1.1.1
scchost: 1 file has a conflict: edit the conflict markers away, then commit
scchost: 1 binary file has a conflict: it is the repository'\''s now, and yours is .#NAME.REVISION beside it; copy that back and commit, or revert' "$output"
  says <<'EOT'
1|update|=conflict in a.c~conflict in logo.png~scchost: 1 file has a conflict: edit the conflict markers away, then commit~scchost: 1 binary file has a conflict: it is the repository's now, and yours is .#NAME.REVISION beside it; copy that back and commit, or revert
2|diff a.c|=scchost: a.c: it has a conflict: edit the conflict markers away first
1|cat a.c|the file has a conflict; edit the conflict markers away first
1|commit a.c|had a conflict and has not been modified
EOT
  cp "$bob/.#logo.png.1.1.1.1" "$bob/logo.png"
  sed -i '/^[<=>]\{7\}/d' "$bob/a.c"
  in_bob 0 commit
  holds 'committed a.c 1.2 -> 1.3' 'committed logo.png 1.2 -> 1.3'
  cvs -Q checkout -p tool/logo.png | cmp - "$bob/logo.png" || fail 'the binary file differs'
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
  local directory client=$scratch/counting
  take_tree
  printf '#!/bin/sh\necho >>"%s/count"\nexec cvs "$@"\n' "$scratch" >"$client"
  chmod +x "$client"
  # counts CLIENTS COMMAND...
  counts() {
    : >"$scratch/count"
    in_bob 0 --client "$client" "${@:2}"
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
  local client=$scratch/failing
  take_tree
  # A client that fails for one directory only, though its repository can be listed.
  printf '#!/bin/sh\ncase $PWD-$* in */docs-*status*) echo broken >&2; exit 1 ;; esac\nexec cvs "$@"\n' >"$client"
  chmod +x "$client"
  in_bob 1 --client "$client" status
  holds $'no status\t\t\t\tdocs/f.txt' $'Up-to-date\t1.1.1.1\t1.1.1.1\t\tdocs/deep/g.txt' \
    $'scchost: docs: status failed; cvs status said:\nbroken'
  in_bob 1 --client "$client" commit
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
  equal 'scchost: the names of 900 files are more than one command line holds; name fewer, such as one directory' "$output"
  sed -i s/1/2/ "$scratch/many/few/one.c"
  run 0 bash -c "ulimit -s 512 && '$scchost' -C '$scratch/many' commit few"
  run 0 "$scchost" -C "$scratch/many" commit
  equal 900 "$(grep -c '^committed' <<<"$output")"
}

it_passes_on_what_the_client_warns_of() {
  local client=$scratch/warning command
  take_tree
  printf '#!/bin/sh\necho "cvs $3: heed this" >&2\necho "cvs $3: Updating ." >&2\nexec cvs "$@"\n' >"$client"
  chmod +x "$client"
  export CVS_GNU_CLIENT=$client
  echo mine >>"$bob/a.c"
  for command in 'edit b.c' 'unedit b.c' 'update a.c' 'commit a.c'; do
    # shellcheck disable=SC2086 # words
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
scchost -j 4 sta|status
scchost -m x com|commit
scchost status --ch|--changed
scchost commit --ch|
scchost --directory = the|there
scchost --directory = there status ma|main.c
scchost -C there diff d|docs/
scchost add he|here
scchost cat -C there -o he|here
scchost ls he|
EOT
}

run_scenarios "$@"
