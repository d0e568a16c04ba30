# SIGINT in each state.
. /lib.sh
log_tool

processes >/out/processes.before
start idle --stdout --sig
waiting
interrupt idle
start sampling --stdout --sig
toggle
interrupt sampling
start looping --stdout --interval=60
waiting
interrupt looping
start entering --stdout --enter
waiting
interrupt entering
for option in systrace block-dump; do
  start "$option" --stdout --sig "--$option"
  toggle
  interrupt "$option"
  start "$option-enter" --stdout --enter "--$option"
  waiting
  interrupt "$option-enter"
  start "$option-between" --stdout --sig "--$option"
  toggle
  toggle
  interrupt "$option-between"
done

# In the walk that makes the cache of names, which goes over /proc and /sys too: seconds.
rm -f /data/inode.txt
start walk --stdout --iter=1 --interval=0 --block-dump
wait_for "the walk" [ -e /data/inode.txt.new ]
kill -STOP "$PID"
[ -e /data/inode.txt.new ]
[ ! -e /data/inode.txt ]
kill -INT "$PID"
kill -CONT "$PID"
finish walk
ls /data >/out/walk.files

# In the stop while it waits for the reader of the pipe, which is kept from reading.
mkdir /mnt/freezer
mount -t cgroup -o freezer freezer /mnt/freezer
mkdir /mnt/freezer/reader
start drain --stdout --sig --block-dump --no-proc-cpu
toggle
grep -l '^pipe_thread$' "/proc/$PID"/task/*/comm | cut -d / -f 5 >/mnt/freezer/reader/tasks
echo FROZEN >/mnt/freezer/reader/freezer.state
wait_for "the reader stands still" grep -q FROZEN /mnt/freezer/reader/freezer.state
kill -USR1 "$PID"
# Between these two of its files.
wait_for "the stop" grep -q 0 "$TRACING/events/filemap/mm_filemap_add_to_page_cache/enable"
grep -q '\[global\]' "$TRACING/trace_clock"
kill -INT "$PID"
wait_for "the interrupt" grep -q '^State:.Z' "/proc/$PID/status"
echo THAWED >/mnt/freezer/reader/freezer.state
finish drain

# What an interrupt has left switched on is switched off by the next one that traces.
start left --stdout --sig --systrace
toggle
interrupt left
controls "$TRACING" >/out/left.controls
start next --stdout --iter=1 --interval=0 --block-dump --no-proc-cpu
finish next
controls "$TRACING" >/out/next.controls

processes_settle /out/processes.before /out/processes.after
