# Completion of corvane-nmctl for bash. What it offers comes from the program's own --help.
_corvane_nmctl() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} one command=
  for one in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $one == -* ]] || { command=$one; break; }
  done
  COMPREPLY=()
  case $previous in
    --browser)
      mapfile -t COMPREPLY < <(compgen -W "$("$1" list --help 2>/dev/null | sed -n 's/^Names of browsers: //p')" -- "$word")
      return ;;
    --level)
      mapfile -t COMPREPLY < <(compgen -W "error warning info debug verbose" -- "$word")
      return ;;
    --only)
      mapfile -t COMPREPLY < <(compgen -W "$("$1" check-main-app --list 2>/dev/null | sed -n 's/^\([^ ][^ ]*\).*/\1/p')" -- "$word")
      return ;;
    --host | --dir)
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return ;;
    --extension | --since | --limit | --command | -c) return ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$("$1" ${command:+"$command"} --help 2>/dev/null | grep -oE -- '--[a-z][a-z-]*' | sort -u)" -- "$word")
  elif [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$("$1" --help 2>/dev/null | sed -n '/^Subcommands:/,$s/^  \([a-z][a-z-]*\) .*/\1/p')" -- "$word")
  elif [[ $command == report ]]; then
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  elif [[ $command == new-extension ]]; then
    mapfile -t COMPREPLY < <(compgen -d -- "$word")
  fi
}
complete -F _corvane_nmctl corvane-nmctl
