# Sourced by run.sh and install-packages.sh.
#
# logged LOG COMMAND [ARGUMENT]...
#
# Runs a command with its output in LOG and no input. Returns its status. If standard error is a
# terminal, its last line shows the latest line of the output; it is blank again at the end.
logged() {
  local log=$1 status=0
  shift
  if [ -t 2 ]; then
    "$@" </dev/null 2>&1 | showLines "$log" || status=${PIPESTATUS[0]}
  else
    "$@" </dev/null >"$log" 2>&1 || status=$?
  fi
  return "$status"
}

# showLines LOG: copies standard input to LOG, and shows it in one line of the terminal.
showLines() {
  local columns line
  columns=$(stty size <&2 2>/dev/null | cut -d' ' -f2) || true
  [[ $columns =~ ^[1-9][0-9]*$ ]] || columns=80
  # A full last column would move the cursor to the next line.
  columns=$((columns - 1))
  while IFS= read -r line || [ -n "$line" ]; do
    printf '%s\n' "$line"
    line=${line//[[:cntrl:]]/ }
    # No escape sequences: every terminal knows the carriage return.
    printf '\r%-*s' "$columns" "${line:0:columns}" >&2
  done >"$1"
  printf '\r%*s\r' "$columns" '' >&2
}
