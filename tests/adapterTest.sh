#!/usr/bin/env bash
# The adapter for the GNU client: its arguments, what becomes writable, and how a signal ends it.
. "$(dirname "$0")/shell.sh"
adapter=$sources/client/cvs-gnu

# A client that shows what it gets: its words, and a line of its input.
program show "printf '[%s]' \"\$@\"; head -n 1"

# shows WANTED WORD...
shows() {
  run 0 timeout 10 env CVS_GNU_CLIENT="$scratch/show" "$adapter" "${@:2}"
  equal "$1" "$output"
}
it_passes_on_any_argument() {
  local words
  shows $'[-qd][a  b][-z3][unedit][-R][-l][--][-y][][*][\n][$x"]y' \
    -qd 'a  b' -z3 unedit -yR -l -w -- -y '' '*' $'\n' "\$x\""
  shows '[-l][unedit][--][a][-w]y' -l unedit -y a -w
  shows '[-s][a=b][-s][c=d][unedit][-l][--]' -s a=b -s c=d unedit -lw
  shows '[unedit][-y][-a][x]' unedit -y -a x
  shows '[-n][login][-x]"a \ b"  ' -n login -p '"a \ b"  ' -x
  shows '[login][--]b' login -p a -p b --
  for words in 'login -p' 'login -x' 'login' '-l status -wy' '--version' '-d' '-Z login -p x' ''; do
    shows "[${words// /][}]" $words
  done
  equal '[unedit][--][a]no' "$(echo no | CVS_GNU_CLIENT=$scratch/show "$adapter" unedit -w a)"
  equal '[unedit][--][a]' "$(CVS_GNU_CLIENT=$scratch/show "$adapter" unedit -w a 2>&1 <&-)"
}

it_takes_no_client_for_itself() {
  local directory
  mkdir "$scratch/link" "$scratch/copy"
  ln -s "$adapter" "$scratch/link/cvs"
  cp "$adapter" "$scratch/copy/cvs"
  run 127 env CVS_GNU_CLIENT=missing "$adapter" -q status
  holds 'there is no missing'
  run 127 timeout 10 env CVS_GNU_CLIENT="$adapter" "$adapter" status
  holds "$adapter is this adapter"
  for directory in link copy; do
    run 127 timeout 10 env PATH="$scratch/$directory:$PATH" cvs status
    run 127 timeout 10 env PATH="$scratch/$directory:$PATH" "$adapter" status
    equal 'cvs-gnu: cvs is this adapter; name the client in CVS_GNU_CLIENT' "$output"
  done
  run 0 env CVS_GNU_CLIENT="$scratch/show" "$scratch/link/cvs" status
  equal '[status]' "$output"
}

# A signal ends the adapter and all that it started, at once. The lock is free when all are gone.
# cancel SIGNAL WORD...: sends the signal as soon as the client has read a line.
cancel() {
  local adapter_id status checks=100
  rm -f "$scratch/slow.answer"
  (flock 9 && CVS_GNU_CLIENT=$scratch/slow exec env --default-signal=HUP,INT,QUIT,TERM \
    "$adapter" "${@:2}") 9>"$scratch/lock" </dev/null >"$scratch/said" 2>&1 &
  adapter_id=$!
  until [ -s "$scratch/slow.answer" ] || [ $((checks -= 1)) -lt 0 ]; do sleep 0.05; done
  [ "$checks" -ge 0 ] || fail "${*:2} did not begin: $(cat "$scratch/said")"
  # Others can read a command line, so no second one may hold the password.
  [[ $* != *p4ss* ]] ||
    equal "/proc/$adapter_id/cmdline" "$(grep -ls 'p4s[s]' /proc/[0-9]*/cmdline)"
  kill -s "$1" "$adapter_id"
  flock -w 2 "$scratch/lock" true || fail "SIG$1 left something of ${*:2}"
  kill -KILL "$adapter_id"
  wait "$adapter_id"
  status=$?
  equal "SIG$1 $((128 + $(kill -l "$1")))" "SIG$1 $status"
} 2>/dev/null

it_ends_at_once_with_all_it_started() {
  local signal
  program slow "trap 'kill \$!; sleep 0.1; rm CVS/Base/withdrawn; exit 1' TERM
    head -n 1 >\$0.answer; sleep 20 & wait"
  mkdir -p "$scratch/edits/CVS/Base" && cd "$scratch/edits" || exit
  for signal in HUP INT QUIT TERM; do
    touch CVS/Base/withdrawn CVS/Base/edited
    install -m 444 /dev/null withdrawn && install -m 444 /dev/null edited
    cancel "$signal" unedit -wy withdrawn edited
    equal $'-r--r--r-- edited\n-rw-r--r-- withdrawn' "$(stat -c '%A %n' edited withdrawn)"
    cancel "$signal" login -p p4ssword
  done
}

# Without find a directory cannot be searched.
it_says_that_it_needs_find() {
  local tool
  mkdir "$scratch/few" "$scratch/directory"
  for tool in sh cat printf head; do ln -s "$(command -v "$tool")" "$scratch/few/$tool"; done
  run 127 env PATH="$scratch/few" CVS_GNU_CLIENT="$scratch/show" "$adapter" unedit -wy "$scratch/directory"
  holds 'there is no find'
}

# withdraws STATUS FILE... -- WORD...: with these words the adapter withdraws just these edits.
withdraws() {
  local status=$1 wanted='' found='' file
  for file in "${@:2}"; do
    [ "$file" != -- ] || break
    wanted+="$file: one;"
    shift
  done
  yes | cvs -Q unedit >/dev/null
  cvs -Q edit "${edited[@]/#/./}"
  for file in "${files[@]}"; do printf 'one\ntwo\n' >"./$file"; done
  chmod a-w "${files[@]/#/./}"
  [ -z "$lost" ] || rm -f "./$lost"
  run "$status" timeout 10 "$adapter" "${@:3}"
  for file in "${files[@]}"; do
    if [[ $(stat -c %A "./$file") = -?w* ]]; then
      found+="$file: $(paste -sd+ "./$file");"
    else
      [ "$file" = "$lost" ] || equal 'one+two' "$(paste -sd+ "./$file")"
    fi
  done 2>/dev/null
  equal "$wanted" "$found"
}
it_makes_writable_what_is_withdrawn() {
  export CVSROOT=$scratch/repository
  edited=(edited.txt 'two words.txt' -dash.txt lost.txt sub/below.txt)
  files=("${edited[@]}" other.txt plain.txt)
  cvs init
  mkdir -p "$scratch/import/sub" && cd "$scratch/import" || exit
  for file in "${edited[@]}" other.txt; do echo one >"./$file"; done
  cvs -Q import -m start box vendor start
  cd "$scratch" && cvs -Q checkout -d work box && cd work || exit
  ln -s sub link
  ln -s / everything # which takes for ever to search
  mkdir -p CVS/Base
  touch CVS/Base/$'plain.txt\nx' # which looks like two
  lost=''
  withdraws 0 edited.txt -- unedit -wy edited.txt other.txt plain.txt
  withdraws 0 'two words.txt' -dash.txt -- -Q unedit -yw -- -dash.txt 'two words.txt'
  withdraws 0 sub/below.txt -- unedit -wy link
  withdraws 0 sub/below.txt -- unedit -wy link/below.txt
  withdraws 0 edited.txt 'two words.txt' -dash.txt lost.txt -- unedit -wyl
  withdraws 0 "${edited[@]}" -- unedit -wy
  withdraws 0 -- -n unedit -wy
  withdraws 0 -- unedit -w edited.txt
  lost=lost.txt
  withdraws 1 edited.txt -- unedit -wy edited.txt lost.txt 'two words.txt'
}

run_scenarios "$@"
