# Completion of scchost for bash.
# shellcheck shell=bash

_scchost() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' i
  local commands='status diff add commit update revert cat edit unedit ls mkdir checkout login logout run'
  local options='--client --directory --edit --help --library --root --usage --version'
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      --client | --directory | --library | --root | -C) ((++i)) ;;
      -*) ;;
      *)
        command=${COMP_WORDS[i]}
        break
        ;;
    esac
  done

  case $before in
    -C | --directory)
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    --client)
      mapfile -t COMPREPLY < <(compgen -c -- "$word")
      return
      ;;
    --root | -j | --jobs | -m | --message | -r | --revision | -u | --user) return ;;
  esac

  case $command in
    status) options+=' --changed --jobs --untracked' ;;
    diff) options+=' --jobs' ;;
    add) options+=' --message' ;;
    commit) options+=' --jobs --message' ;;
    update) options+=' --clean' ;;
    cat) options+=' --force --output --revision' ;;
    edit) options+=' --clean' ;;
    unedit) options+=' --jobs --revert' ;;
    ls) options+=' --directories' ;;
    mkdir) options+=' --user' ;;
  esac
  case $word in
    -*) mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word") ;;
    *) [ -n "$command" ] || mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$word") ;;
  esac
}
# Where it offers nothing, bash completes file names.
complete -o bashdefault -o default -F _scchost scchost
