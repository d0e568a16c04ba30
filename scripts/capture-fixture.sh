#!/bin/sh
# Usage: capture-fixture.sh FOLDER [SECONDS [PID]...]
#
# Captures the kernel files of this device for tests/fixtures: in FOLDER/t0 and, SECONDS (10) later, in
# FOLDER/t1 those of a snapshot, with the named processes beside the first process and the first kernel
# thread; in FOLDER/trace lines of the kernel's trace from the time between. A file that the device does
# not have is left out. Needs root for /proc/pagetypeinfo and the trace, and nothing but a shell and
# busybox or toybox.
#
# The traces are instances of the script's own, which go when it ends; nobody else's is touched. Waits are
# in them where kernel.sched_schedstats is 1.
set -eu
# A device can have a file creation mask of its own, and the fixtures are for all to read.
umask 022

if [ $# -lt 1 ]; then
  echo "Usage: $0 FOLDER [SECONDS [PID]...]" >&2
  exit 2
fi
folder=$1
seconds=${2:-10}
[ $# -le 2 ] && shift $# || shift 2
if [ -e "$folder" ]; then
  echo "$0: $folder exists" >&2
  exit 1
fi

# take MOMENT PATH: by one cat, which reads a file of this size at once. What cannot be read leaves nothing.
take() {
  target=$folder/$1$2
  [ -f "$2" ] || return 0
  mkdir -p "${target%/*}"
  if ! cat "$2" >"$target" 2>/dev/null; then
    rm "$target"
    echo "$0: $2 cannot be read" >&2
  fi
}

takeMoment() {
  moment=$1
  shift
  for path in /proc/stat /proc/vmstat /proc/net/dev /proc/buddyinfo /proc/pagetypeinfo \
    /sys/class/power_supply/battery/temp /sys/devices/system/cpu/cpufreq/policy*/stats/time_in_state; do
    take "$moment" "$path"
  done
  for disk in /sys/block/*; do
    case $disk in
      */loop* | */ram*) ;;
      *) take "$moment" "$disk/stat" ;;
    esac
  done
  for pid in 1 2 "$@"; do
    take "$moment" "/proc/$pid/stat"
    take "$moment" "/proc/$pid/schedstat"
  done
}

tracing=
for place in /sys/kernel/tracing /sys/kernel/debug/tracing; do
  [ ! -w "$place/instances" ] || tracing=$place
done

endTraces() {
  for name in sched filemap; do
    [ ! -d "$tracing/instances/fixture_$name" ] || rmdir "$tracing/instances/fixture_$name"
  done
}

# startTrace NAME EVENT...: of the events that the kernel has.
startTrace() {
  trace=$tracing/instances/fixture_$1
  shift
  mkdir "$trace"
  echo global >"$trace/trace_clock"
  for event in "$@"; do
    [ ! -e "$trace/events/$event/enable" ] || echo 1 >"$trace/events/$event/enable"
  done
}

# takeTrace NAME: as many lines as a test can use, the first ones that the buffer still has.
takeTrace() {
  trace=$tracing/instances/fixture_$1
  echo 0 >"$trace/tracing_on"
  mkdir -p "$folder/trace"
  grep -v '^#' "$trace/trace" | head -n 300 >"$folder/trace/$1.txt"
}

if [ -n "$tracing" ]; then
  trap endTraces EXIT
  trap 'exit 1' HUP INT TERM
  startTrace sched sched/sched_stat_wait sched/sched_stat_iowait sched/sched_stat_runtime
  startTrace filemap filemap/mm_filemap_add_to_page_cache filemap/mm_filemap_delete_from_page_cache
else
  echo "$0: no trace" >&2
fi
takeMoment t0 "$@"
sleep "$seconds"
takeMoment t1 "$@"
if [ -n "$tracing" ]; then
  takeTrace sched
  takeTrace filemap
fi
echo "$folder: Linux $(uname -r), $(uname -m)"
