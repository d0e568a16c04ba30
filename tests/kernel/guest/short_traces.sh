# Twenty short scheduler traces in a row, behind one that has made all that stays.
. /lib.sh
log_tool
echo 1 >/proc/sys/kernel/sched_schedstats

# Of the program.
counts() {
  echo "files $(ls "/proc/$PID/fd" | wc -l)"
  echo "threads $(ls "/proc/$PID/task" | wc -l)"
  echo "children $(cat /proc/[0-9]*/status 2>/dev/null | grep -c "^PPid:.$PID\$")"
}

processes >/out/processes.before
start often --stdout --sig --systrace --no-proc-cpu
toggle
toggle
counts >/out/counts.before
for _ in $(seq 20); do
  toggle
  toggle
done
counts >/out/counts.after
interrupt often

[ ! -e /out/killed ] || mv /out/killed /out/often.killed
# One that is not in the trace has to be found.
for event in wait iowait runtime; do
  echo 'comm == "nobody"' >"$TRACING/events/sched/sched_stat_$event/filter"
done
start quiet --stdout --sig --systrace --no-proc-cpu
toggle
toggle
interrupt quiet
mv /out/killed /out/quiet.killed
processes_settle /out/processes.before /out/processes.after
controls "$TRACING" >/out/controls
