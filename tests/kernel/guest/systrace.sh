# Scheduler traces in the three run modes that can have one, with threads whose times the kernel has too.
. /lib.sh
mount_disks

log_tool
dd if=/dev/urandom of=/mnt/mmcblk0/data bs=4k count=50 conv=fsync 2>/dev/null

# threads_start NAME: see `load threads`. Descriptor 8 is its input.
threads_start() {
  mkfifo "/tmp/$1.threads"
  load threads /mnt/mmcblk0/data <"/tmp/$1.threads" >"/out/$1.sums" &
  THREADS=$!
  exec 8>"/tmp/$1.threads"
  wait_for "the threads" grep -q ready "/out/$1.sums"
}

# threads_work NAME: they do their work, with two lines in the log before and behind it.
threads_work() {
  log KPI-R2K-AT-1
  echo >&8
  wait_for "their work" grep -q done "/out/$1.sums"
  log KPI-R2K-WMS-2
}

threads_end() {
  echo >&8
  wait "$THREADS"
  cp /data/trace.txt "/out/$1.trace"
}

# The lines' times are uptimes, as the platform's are.
log() {
  local seconds=
  uptime_in seconds
  echo "01-01 00:00:00.000   100   101 I $1: ${seconds%.*}${seconds#*.}0 text" >&6
}

cut -d ' ' -f 1 /proc/uptime >/out/clock && echo "a time" >/dev/kmsg
dmesg | grep 'a time$' >>/out/clock
controls "$TRACING" >/out/controls.before

# Without the scheduler's statistics there is run time alone.
echo 0 >/proc/sys/kernel/sched_schedstats
threads_start silent
start silent --stdout --sig --systrace --no-proc-cpu
toggle
threads_work silent
toggle
interrupt silent
threads_end silent

echo 1 >/proc/sys/kernel/sched_schedstats
threads_start signal
start signal --stdout --sig --systrace --no-proc-cpu
toggle
threads_work signal
toggle
threads_end signal
controls "$TRACING" >/out/controls.after
# Another measurement of the same program, and its trace alone.
threads_start again
toggle
threads_work again
toggle
interrupt again
threads_end again

threads_start enter
start enter --stdout --enter --systrace --no-proc-cpu
waiting
threads_work enter
enter
finish enter
threads_end enter

threads_start once
start once --stdout --iter=1 --interval=4 --systrace --no-proc-cpu
waiting
threads_work once
# Else the work was not done within the interval.
kill -0 "$PID"
finish once
threads_end once
