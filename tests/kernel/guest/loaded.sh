# A trace of some seconds with very many events. A second instance of the kernel's tracing, with a buffer
# that holds everything, records the same events and when the program writes to its tracing files.
. /lib.sh
SECONDS_LOADED=3

echo 1 >/proc/sys/kernel/sched_schedstats
SECOND=$TRACING/instances/second
mkdir "$SECOND"
echo global >"$SECOND/trace_clock"
echo 40960 >"$SECOND/buffer_size_kb"
for event in wait iowait runtime; do
  echo 'comm ~ "events-*"' >"$SECOND/events/sched/sched_stat_$event/filter"
  echo 1 >"$SECOND/events/sched/sched_stat_$event/enable"
done
echo 0 >"$SECOND/tracing_on"

mkfifo /tmp/events
load events 30000 </tmp/events >/tmp/events.out &
load=$!
exec 8>/tmp/events
wait_for "the load" grep -q ready /tmp/events.out

start report --stdout --sig --systrace --no-proc-cpu
waiting
for call in sys_enter_write sys_exit_write; do
  echo "common_pid == $PID" >"$SECOND/events/syscalls/$call/filter"
  echo 1 >"$SECOND/events/syscalls/$call/enable"
done
echo 1 >"$SECOND/tracing_on"
toggle
sleep $SECONDS_LOADED
# At last the program gets no CPU for a while, as on a device that is busy: there is much to take at the stop.
kill -STOP "$PID"
usleep 500000
kill -USR1 "$PID"
kill -CONT "$PID"
waiting
echo 0 >"$SECOND/tracing_on"
interrupt report
echo >&8
wait "$load"

echo "$PID" >/out/pid
cp /data/trace.txt /out/trace.txt
cat "$SECOND/trace" >/out/second
cat "$SECOND"/per_cpu/cpu*/stats >/out/second.stats
