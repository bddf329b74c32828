#!/usr/bin/env bash
# The whole way with the real client: two working copies of a scratch repository drift apart.
# shellcheck source-path=SCRIPTDIR source=shell.sh
. "$(dirname "$0")/shell.sh"
command -v cvs >/dev/null || skip "there is no cvs client on this machine"

export CVSROOT=$scratch/repository
ann=$scratch/ann bob=$scratch/bob
cvs init

# A project of its own, from nothing.
run 0 "$scchost" mkdir lib
run 0 "$scchost" mkdir lib/tool
run 0 "$scchost" checkout "$ann" lib/tool
holds "a working copy of lib/tool"
mkdir -p "$ann/docs/user guide"
for file in same changed patched merged gone edited; do
  printf '1\n2\n3\n4\n5\n' >"$ann/$file.txt"
done
echo text >"$ann/docs/user guide/start.txt"
run 0 "$scchost" -C "$ann" add -m 'The first "version"' {same,changed,patched,merged,gone,edited}.txt \
  "docs/user guide/start.txt"
holds "added docs/user guide/start.txt"
run 0 cvs rlog lib/tool/docs
holds 'The first "version"'

# Every state, in a pipe and on a terminal.
run 0 cvs -Q checkout -d "$bob" lib/tool
(cd "$ann" && echo 6 >>patched.txt && echo 6 >>merged.txt)
run 0 "$scchost" -C "$ann" commit -m Six patched.txt merged.txt
(cd "$bob" && sed -i 's/^1/one/' merged.txt changed.txt && rm gone.txt && touch new.txt)
run 0 "$scchost" -C "$bob" edit edited.txt
(cd "$bob" && cvs -Q add new.txt)
run 0 "$scchost" -C "$bob" --edit status
equal "Locally Modified	1.1	1.1		changed.txt
Up-to-date	1.1	1.1	edited	edited.txt
missing				gone.txt
Needs Merge	1.1	1.2		merged.txt
added				new.txt
Needs Patch	1.1	1.2		patched.txt
Up-to-date	1.1	1.1		same.txt
Up-to-date	1.1	1.1		docs/user guide/start.txt" "$output"
run 0 "$scchost" -C "$bob" status docs
equal "Up-to-date	1.1	1.1		docs/user guide/start.txt" "$output"
run 0 env -u NO_COLOR script -qec "'$scchost' -C '$bob' status same.txt" /dev/null
holds "STATUS" $'\033[32mUp-to-date' "1.1      1.1                 same.txt"
run 0 env NO_COLOR=1 script -qec "'$scchost' -C '$bob' status same.txt" /dev/null
[[ $output != *$'\033'* ]] || fail "colour in: $output"

# What the client refuses, in its own words; then merged, and committed after all.
run 1 "$scchost" -C "$bob" commit -m Mine merged.txt changed.txt
holds "cvs commit said:" "Up-to-date check failed for \`merged.txt'"
run 0 "$scchost" -C "$bob" update merged.txt patched.txt gone.txt
equal "restored gone.txt 1.1
merged merged.txt 1.1 -> 1.2; your text is in .#merged.txt.1.1
updated patched.txt 1.1 -> 1.2" "$output"
equal "one 2 3 4 5 6" "$(tr '\n' ' ' <"$bob/merged.txt" | sed 's/ $//')"
run 0 "$scchost" -C "$bob" revert changed.txt
equal "reverted changed.txt 1.1; your text is in .#changed.txt.1.1" "$output"
equal 1 "$(head -1 "$bob/changed.txt")"
run 0 "$scchost" -C "$bob" commit -m Mine merged.txt same.txt
equal "committed merged.txt 1.2 -> 1.3" "$output" # and nothing of what was not modified
run 1 "$scchost" -C "$bob" cat -o "$scratch/no/such" merged.txt
holds "cannot write $scratch/no/such"

# A merge that leaves a conflict succeeds, with a warning.
sed -i 's/^3/ann/' "$ann/same.txt"
sed -i 's/^3/bob/' "$bob/same.txt"
run 0 "$scchost" -C "$ann" commit -m Conflicting same.txt
run 1 "$scchost" -C "$bob" update same.txt
equal "conflict in same.txt; your text is in .#same.txt.1.1
scchost: 1 file has a conflict: edit the conflict markers away, then commit" "$output"
run 0 "$scchost" -C "$bob" status same.txt
equal "conflict				same.txt" "$output"
run 1 "$scchost" -C "$bob" update same.txt
holds "conflict in same.txt"
sleep 1
echo 6 >>"$bob/same.txt"
run 0 "$scchost" -C "$bob" status same.txt
holds "File had conflicts on merge"
run 0 "$scchost" -C "$bob" update --clean same.txt
equal "reverted same.txt 1.2; your text is in .#same.txt.1.2" "$output"

# What cannot be done.
rm "$bob/edited.txt"
run 0 "$scchost" -C "$bob" unedit --revert edited.txt
holds "released edited.txt"
run 1 "$scchost" -C "$bob" edit nowhere.txt
holds "no such file nowhere.txt"
run 1 "$scchost" -C "$bob" update no/such/file.txt
holds "no such directory"
run 1 "$scchost" checkout "$scratch/none" no/such
holds "cvs checkout said:" "cannot find module"
run 0 "$scchost" logout
holds "no login is needed"

run 0 "$scchost" ls lib/tool/docs
equal "" "$output"
run 1 "$scchost" ls no/such
holds "cvs rls said:" "cannot find module"
run 2 "$scchost" checkout "" lib

# A script, with one provider for all of it.
cat >"$scratch/script" <<EOT
﻿setRoots '$bob'   # as any host would
status merged.txt
preMulti
checkin same.txt "a
EOT
run 2 "$scchost" run "$scratch/script"
equal "scchost: $scratch/script:4: unterminated quote or escape" "$output"
sed -i 's/"a$/"a \\"b\\""/' "$scratch/script"
printf '%s\n' postMulti 'status no.txt' 'checkin x null' getLastErrorCommand merged >>"$scratch/script"
run 2 "$scchost" run "$scratch/script"
holds "script:9: expected merged FIRST SECOND"
sed -i '$d' "$scratch/script"
run 1 "$scchost" run "$scratch/script"
equal 'setRoots: true
status: true controlled=true edited=false modified=false outOfDate=false statusText="Up-to-date" workingRevision="1.3" repositoryRevision="1.3"
preMulti: done
checkin: true
postMulti: true
status: false controlled=false
checkin: false
getLastErrorCommand: "commit"' "$output"

# One clear sentence each.
run 1 "$scchost" -C "$scratch" status
equal "scchost: $scratch is not a working copy: it has no CVS/Repository that can be read" "$output"
run 1 "$scchost" -C "$bob" --client no-such-client status
holds "scchost: there is no program no-such-client; install it, or name another with --client"
run 1 "$scchost" -C "$bob" --library /etc/passwd status
holds "scchost: cannot load the provider: /etc/passwd"
run 2 "$scchost" -C "$bob" status ../ann
holds "../ann lies outside the working copy"
run 2 "$scchost" -C "$bob" cat
run 1 "$scchost" -C "$bob" status same.txt nowhere.txt
holds "unknown" "cannot find module \`lib/tool/nowhere.txt'"
mv "$CVSROOT" "$CVSROOT.away"
run 1 "$scchost" -C "$bob" status same.txt
holds "no status				same.txt" "same.txt: cvs rls said:" "repository"
run 1 env -u CVSROOT "$scchost" ls
holds "which repository?"
finish
