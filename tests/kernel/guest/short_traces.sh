# Twenty short scheduler traces in a row, behind one that has made all that stays.
. /lib.sh
log_tool
echo 1 >/proc/sys/kernel/sched_schedstats

tools() {
  ps -o comm | grep -c '^logcat$' || true
}

# Files, threads and tools of the program.
counts() {
  ls "/proc/$PID/fd" | wc -l
  ls "/proc/$PID/task" | wc -l
  tools
}

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
tools >/out/tools
controls "$TRACING" >/out/controls
