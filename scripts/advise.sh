# Sourced by run.sh.
#
# advise OPTION...: prints a line for each option that the program would silently ignore, or whose figures
# stay 0 or empty on this machine, and what to do. Prints nothing for an unknown option, which the program
# answers with its usage. Reads the options as the program does (cli/command_line.cpp).

warn() {
  echo "run.sh: $*"
}

# isOne TEXT: whether atoi(3) reads 1.
isOne() {
  [[ $1 =~ ^[[:space:]]*\+?0*1([^0-9]|$) ]]
}

# processExists NAME: whether the program would find this process, by the base name of the first argument
# in /proc/PID/cmdline (see proc(5)). Skips this shell, which becomes the program; finds the program itself.
processExists() {
  local file first
  [ "$1" != tarnwick ] || return 0
  for file in /proc/[0-9]*/cmdline; do
    case $file in "/proc/$$/cmdline" | "/proc/$BASHPID/cmdline") continue ;; esac
    first=
    # read fails, but gives the text, if there is no NUL.
    { IFS= read -r -d '' first <"$file"; } 2>/dev/null || true
    first=${first%%$'\n'*}
    [ -z "$first" ] || [ "${first##*/}" != "$1" ] || return 0
  done
  return 1
}

# hasCountedDisk: whether /sys/block has a disk that the report counts.
hasCountedDisk() {
  local disk
  for disk in /sys/block/sd* /sys/block/mmcblk0; do
    [ ! -e "$disk" ] || return 0
  done
  return 1
}

advise() {
  local option mode=loop once=false systrace=false blockDump=false pmu=false processes=true
  local hasName=false name=
  for option; do
    case $option in
      --interval=* | --min-cpu=* | --stdout | --freq) ;;
      --iter=*) isOne "${option#*=}" && once=true || once=false ;;
      --proc=*) hasName=true name=${option#*=} ;;
      --sig | --enter) mode=${option#--} ;;
      --systrace) systrace=true ;;
      --block-dump) blockDump=true ;;
      --pmu) pmu=true ;;
      --no-proc-cpu) processes=false ;;
      *) return 0 ;;
    esac
  done

  local traces=()
  ! $systrace || traces+=(--systrace)
  ! $blockDump || traces+=(--block-dump)
  if [ "$mode" = loop ] && ! $once; then
    for option in "${traces[@]}"; do
      warn "$option is ignored without --sig, --enter or --iter=1; add one of them"
    done
    traces=() systrace=false blockDump=false
  elif [ ${#traces[@]} -eq 2 ]; then
    warn "--systrace and --block-dump cannot be used together; leave one out"
    return 0
  fi

  if [ "$(id -u)" -ne 0 ]; then
    ! $pmu || traces+=(--pmu)
    for option in "${traces[@]}"; do
      warn "$option needs root; run as root, or with sudo"
    done
  fi
  if [ ! -d /data ]; then
    ! $systrace || warn "no trace file: there is no folder /data; as root: mkdir /data"
    ! $blockDump || warn "no file names for --block-dump: there is no folder /data; as root: mkdir /data"
  fi
  if $hasName && $processes && ! processExists "$name"; then
    warn "no process is named '$name'; --proc takes the file name of the program, from /proc/PID/cmdline"
  fi
  if ! hasCountedDisk; then
    warn "no disk is counted: /sys/block has no sd* and no mmcblk0; disk figures stay 0"
  fi
}
