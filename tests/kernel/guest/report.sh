# Whole reports of known work. The program is stopped while the work is done in its first interval, which
# lasts as long as the work then.
. /lib.sh
mount_disks
echo 64M >/sys/block/zram0/disksize
mkswap /dev/zram0
swapon /dev/zram0
dd if=/dev/zero of=/tmp/loop bs=1M count=4 2>/dev/null
losetup /dev/loop0 /tmp/loop
ip link set lo up
# An interface that never carried a packet is not there before.
ping -c 1 127.0.0.1 >/dev/null

disks() {
  local disk
  for disk in sda mmcblk0 vda loop0 zram0; do
    echo "$disk $(cat "/sys/block/$disk/stat")"
  done
}

frequencies() {
  cat /sys/devices/system/cpu/cpu3/cpufreq/stats/time_in_state
}

mkfifo /tmp/burn
load burn 3 500 500 </tmp/burn >/out/burned &
burner=$!
exec 8>/tmp/burn
wait_for "the burner" grep -q . /out/burned

mkfifo /tmp/hold
load hold 8192 </tmp/hold >/tmp/hold.out &
exec 9>/tmp/hold
wait_for "the memory" grep -q ready /tmp/hold.out

# What it reads eight bytes at a time are the counters.
mkdir "$TRACING/instances/calls"

start report --stdout --iter=2 --interval=1 --freq --pmu
waiting
kill -STOP "$PID"
frequencies >/out/frequencies.before
echo "common_pid == $PID && ret == 8" >"$TRACING/instances/calls/events/syscalls/sys_exit_read/filter"
echo 1 >"$TRACING/instances/calls/events/syscalls/sys_exit_read/enable"

burned() {
  [ "$(wc -l </out/burned)" -eq $((1 + $1)) ]
}

disks >/out/disks.before
cat /proc/vmstat >/out/vmstat.before
echo >&8
wait_for "the burning" burned 1
for disk in sda mmcblk0 vda loop0; do
  file=/mnt/$disk/file
  [ $disk != loop0 ] || file=/dev/loop0
  dd if=/dev/urandom of=$file bs=1M count=3 conv=fsync 2>/dev/null
done
sync
echo 3 >/proc/sys/vm/drop_caches
for file in /mnt/sda/file /mnt/mmcblk0/file /mnt/vda/file /dev/loop0; do
  dd if=$file of=/dev/null bs=1M 2>/dev/null
done
load swap 1000
for _ in $(seq 10); do
  ping -c 1 -s 1000 127.0.0.1 >/dev/null
done
load counters "$PID" >/out/counters
cat /proc/vmstat >/out/vmstat.after
disks >/out/disks.after
cat /proc/meminfo >/out/meminfo
frequencies >/out/frequencies.after
kill -CONT "$PID"
finish report
exec 9>&-
cat "$TRACING/instances/calls/trace" >/out/calls
cat /proc/sys/kernel/perf_event_paranoid >/out/paranoid

# The threads of a process, by the name that it was started with.
ln -s /bin/load /tmp/com.example.app
mkfifo /tmp/threads
/tmp/com.example.app threads /mnt/mmcblk0/file </tmp/threads >/out/threads.sums &
exec 9>/tmp/threads
wait_for "the threads" grep -q ready /out/threads.sums
start threads --stdout --enter --proc=com.example.app
waiting
echo >&9
wait_for "their work" grep -q done /out/threads.sums
enter
finish threads
echo >&9

# A process that works and dies in the interval, and many that come and go.
start dying --stdout --enter
waiting
echo >&8
wait_for "the burning" burned 2
echo >&8
wait "$burner"
enter
finish dying
echo "$burner" >/out/burner
(while :; do /bin/true; done) &
storm=$!
start storm --stdout --iter=10 --interval=0
finish storm
kill "$storm"

# A CPU that goes and comes back in the interval; with all of its policy, away all the time.
CPU2=/sys/devices/system/cpu/cpu2/online
CPU3=/sys/devices/system/cpu/cpu3/online
# For a second.
busy() {
  echo | load burn 0 1000 >/dev/null
}
start back --stdout --enter --freq --pmu --no-proc-cpu
waiting
echo 0 >$CPU3
echo 1 >$CPU3
busy
enter
finish back
echo 0 >$CPU2
echo 0 >$CPU3
start away --stdout --enter --freq --pmu --no-proc-cpu
waiting
busy
enter
finish away
echo 1 >$CPU2
# In one measurement it comes, in the next it goes.
start goes --stdout --sig --freq --pmu --no-proc-cpu
toggle
echo 1 >$CPU3
busy
toggle
toggle
echo 0 >$CPU3
busy
toggle
interrupt goes
