# Completions of vecamera for bash.

_vecamera() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local command=${COMP_WORDS[1]} inner=${COMP_WORDS[2]} words=
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    words='run test take library demo scene serve completion --help --version'
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    return
  fi
  case $prev in
    --destination) words='data-url file-uri native-uri' ;;
    --source) words='camera photo-library saved-photos' ;;
    --encoding) words='jpeg png' ;;
    --media) words='picture video all' ;;
    --orientation) words='1 2 3 4 5 6 7 8' ;;
    --home | --to | --app)
      mapfile -t COMPREPLY < <(compgen -d -- "$cur")
      return
      ;;
    --output | --record | --device | --junit)
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      return
      ;;
    --limit | --distance | --port | --quality | --seconds | --size | --edit | --location) return ;;
  esac
  if [ -n "$words" ]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    return
  fi
  case $command in
    run) words='--limit --help' ;;
    test) words='--update --junit --distance --limit --help' ;;
    take)
      words='--quality --destination --source --size --encoding --media --edit
        --correct-orientation --save --front --location --home --output --limit --help'
      ;;
    library)
      case $inner in
        add) words='--home --help' ;;
        list) words='--home --json --help' ;;
        export) words='--home --to --force --help' ;;
        clear) words='--home --yes --help' ;;
        *) words='add list export clear --home --help' ;;
      esac
      ;;
    demo) words='--help' ;;
    scene) words='--size --orientation --seconds --help' ;;
    serve)
      words='--app --spa --allow-remote-app --user-agent --home --port --app-port --open --json'
      words+=' --record --device --help'
      ;;
    completion) words='bash zsh --help' ;;
  esac
  if [[ $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    return
  fi
  case $command in
    library)
      case $inner in
        add) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
        list | export | clear) ;;
        *) mapfile -t COMPREPLY < <(compgen -W 'add list export clear' -- "$cur") ;;
      esac
      ;;
    serve) ;;
    completion) mapfile -t COMPREPLY < <(compgen -W 'bash zsh' -- "$cur") ;;
    demo) mapfile -t COMPREPLY < <(compgen -d -- "$cur") ;;
    *) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
  esac
}

complete -o filenames -F _vecamera vecamera
