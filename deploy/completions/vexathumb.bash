# Completion of vexathumb for bash, made by scripts/make-completions.
_vexathumb() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local command="" words="" options="" before="" i
  # Bash counts the sign of --size=small as a word.
  if [[ $current == = ]]; then
    current=""
  elif [[ $previous == = ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case "${command:+$command }${COMP_WORDS[i]}" in
      "get" | "build" | "info" | "watch" | "plan" | "farm" | "failures" | "clean" | "stat" | "verify" | "doctor" | "desktop-thumbnail" | "farm prepare" | "farm follow" | "farm report") command="${command:+$command }${COMP_WORDS[i]}" ;;
    esac
  done
  case "$command $previous" in
    "get --rotate")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "get --store")
      [[ $current != *,* ]] || before=${current%,*},
      mapfile -t COMPREPLY < <(compgen -P "$before" -W "pixdeck docdeck" -- "${current#"$before"}")
      return ;;
    "get -o")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "get --size")
      mapfile -t COMPREPLY < <(compgen -P "$before" -W "original xlarge large big medium small" -- "${current#"$before"}")
      return ;;
    "get --box")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "build --files-from")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "build --sizes")
      [[ $current != *,* ]] || before=${current%,*},
      mapfile -t COMPREPLY < <(compgen -P "$before" -W "small medium big large xlarge" -- "${current#"$before"}")
      return ;;
    "build --manifest")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "build --shard")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "build --path-map")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "build --jobs")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "build --max-load")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "build --time-limit")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "watch --sizes")
      [[ $current != *,* ]] || before=${current%,*},
      mapfile -t COMPREPLY < <(compgen -P "$before" -W "small medium big large xlarge" -- "${current#"$before"}")
      return ;;
    "watch --quiet")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "watch --look-again")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "watch --jobs")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "plan --shard-size")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "plan -o" | "plan --output")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "clean --gone")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "desktop-thumbnail -s" | "desktop-thumbnail --size")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "farm prepare --log")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "farm prepare --program")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "farm follow --log")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
    "farm report --log")
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;
  esac
  case "$command" in
    "")
      words="get build info watch plan farm failures clean stat verify doctor desktop-thumbnail"
      options="--version -h --help" ;;
    "get")
      options="--rotate --avatar --gif --store --only-stored --smaller --any-share --library -o --json --version -h --help --size --box" ;;
    "build")
      options="--files-from -0 --null --sizes --videos --cross-file-systems --retry-failed --dry-run --manifest --shard --path-map --jobs --nice --max-load --time-limit --json --table --version -h --help" ;;
    "info")
      options="--json --version -h --help" ;;
    "watch")
      options="--sizes --quiet --videos --cross-file-systems --look-again --jobs --nice --dry-run --json --version -h --help" ;;
    "plan")
      options="--shard-size -o --output --videos --cross-file-systems --json --version -h --help" ;;
    "farm")
      words="prepare follow report"
      options="--version -h --help" ;;
    "failures")
      options="--retry --json --version -h --help" ;;
    "clean")
      options="--dry-run --force --gone --json --version -h --help" ;;
    "stat")
      options="--json --version -h --help" ;;
    "verify")
      options="--decode --repair --json --version -h --help" ;;
    "doctor")
      options="--json --version -h --help" ;;
    "desktop-thumbnail")
      options="-s --size --version -h --help" ;;
    "farm prepare")
      options="-h --help --log --program" ;;
    "farm follow")
      options="-h --help --log --quiet" ;;
    "farm report")
      options="-h --help --log --json" ;;
  esac
  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
  elif [[ -n $words ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -o filenames -F _vexathumb vexathumb
