# Completion of sqmctl for bash.

_sqmctl() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command='' choices='' at

  # The subcommand, as "queue add", without the options before it.
  for ((at = 1; at < COMP_CWORD; ++at)); do
    case ${COMP_WORDS[at]} in
      --home | --resources | --accept | --recording | --limit) ((++at)) ;;
      -*) ;;
      *)
        case $command in
          '' | queue | refused | directory | diagnostics) command+=${command:+ }${COMP_WORDS[at]} ;;
        esac
        ;;
    esac
  done

  case $previous in
    --home | --resources | --folder)
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    --accept)
      mapfile -t COMPREPLY < <(compgen -W 'any 2xx' -- "$word")
      return
      ;;
    --recording)
      mapfile -t COMPREPLY < <(compgen -W 'required crash power' -- "$word")
      return
      ;;
    --file)
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
  esac

  case $command in
    '') choices='status show documents upload queue refused directory diagnostics fields play --version' ;;
    status) choices='--folder --json' ;;
    show | documents) choices='client connection device application user-acceptance --raw --json' ;;
    upload) choices='--client --connection --device --application --user-acceptance --all --timeout' ;;
    queue) choices='list add send' ;;
    'queue list') choices='--json' ;;
    'queue add') choices='--file' ;;
    'queue send') choices='--timeout' ;;
    refused) choices='list show send delete' ;;
    'refused list') choices='--json' ;;
    'refused show') choices='--raw' ;;
    'refused send') choices='--all --timeout' ;;
    'refused delete') choices='--all' ;;
    directory) choices='show send' ;;
    'directory show') choices='--json' ;;
    'directory send') choices='--timeout' ;;
    diagnostics) choices='decode' ;;
    'diagnostics decode') choices='--raw --limit' ;;
    play) choices='--time --zone --locale --os --os-version' ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$choices --home --resources --accept --recording --limit --help" -- "$word")
  case $command in
    fields | play | 'diagnostics decode' | directory\ *)
      if [[ $word != -* ]]; then mapfile -t COMPREPLY < <(compgen -f -- "$word"); fi
      ;;
  esac
}

complete -o filenames -o bashdefault -F _sqmctl sqmctl
