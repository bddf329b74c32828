# Completion of scchost for bash, from what "scchost --help" lists.
# shellcheck shell=bash

_scchost() {
  local word=$2 command='' commands='' directory=. value='' line name i
  local option='^ +(-(.), )?(--[a-z]+)(=([A-Z]+))? +(([a-z ]+): )?'
  local -A values=() takers=()
  while IFS= read -r line; do
    if [[ $line =~ $option ]]; then
      values[${BASH_REMATCH[3]}]=${BASH_REMATCH[5]}
      values[-${BASH_REMATCH[2]:--}]=${BASH_REMATCH[5]}
      takers[${BASH_REMATCH[3]}]=" ${BASH_REMATCH[7]} "
    elif [[ $line =~ ^\ \ ([a-z]+)\  ]]; then
      commands+=" ${BASH_REMATCH[1]}"
    fi
  done < <("$1" --help 2>/dev/null)

  # The shell makes three words of --directory=x.
  for ((i = 1; i < COMP_CWORD; ++i)); do
    line=${COMP_WORDS[i]}
    if [ "$line" = = ]; then
      :
    elif [ -n "$value" ]; then
      [ "$value" != DIR ] || directory=${line/#\~/$HOME}
      value=''
    elif [ "${line:0:1}" = - ]; then
      value=${values[$line]-}
    elif [ -z "$command" ]; then
      command=$line
    fi
  done
  [ "$word" != = ] || word=''

  local found=()
  case $value,$command,$word in
    DIR,*) mapfile -t found < <(compgen -d -- "$word") ;;
    FILE,* | ,run,[!-]* | ,run,) mapfile -t found < <(compgen -f -- "$word") ;;
    EXE,*) mapfile -t found < <(compgen -c -- "$word") ;;
    ?*,*,*) ;;
    ,*,-*)
      for name in "${!takers[@]}"; do
        if [[ $name == "$word"* && (${takers[$name]} == '  ' || ${takers[$name]} == *" $command "*) ]]; then
          found+=("$name")
        fi
      done
      ;;
    ,,*) mapfile -t found < <(compgen -W "$commands" -- "$word") ;;
    ,ls,* | ,mkdir,*) ;; # of the repository
    *) mapfile -t found < <(cd "$directory" 2>/dev/null && compgen -f -- "$word") ;;
  esac
  COMPREPLY=("${found[@]}")
  # A path in another working copy is no directory here, so bash does not see that it can go on.
  if [ ${#found[@]} -eq 1 ] && [ -d "$directory/${found[0]}" ] && [ -n "$command" ]; then
    COMPREPLY=("${found[0]}/")
    compopt -o nospace 2>/dev/null
  fi
}
complete -o filenames -F _scchost scchost
