# The same events as text and as pages of the kernel's binary ring buffer, in an instance of the trace: many
# events with odd names and a CPU that goes off and on, a buffer that is too small, and larger sub-buffers.
. /lib.sh
mount_disks
echo 1 >/proc/sys/kernel/sched_schedstats
RING=$TRACING/instances/ring
mkdir "$RING"

# named NAME: a process with this name gives way often.
named() {
  (
    printf "$1" >/proc/self/comm
    for try in $(seq 40); do usleep 100; done
  )
}

work() {
  dd if=/dev/urandom of=/mnt/sda/file bs=4k count=100 2>/dev/null
  sync
  load pages drop /mnt/sda/file
  load pages read /mnt/sda/file
  cat /mnt/sda/file >/dev/null
  odd_names
}

odd_names() {
  for name in 'a=b' 'pid=1' ' pid=1 delay=5' 'comm=x' 'a\nb' 'x[1' ' ' 'end '; do
    named "$name"
  done
}

little_work() {
  odd_names
  load pages drop /mnt/sda/file
  load pages read /mnt/sda/file
}

# capture NAME WORK: /out/NAME says how many events there were, and whether the two ways differ.
capture() {
  echo global >"$RING/trace_clock"
  for event in sched/sched_stat_wait sched/sched_stat_iowait sched/sched_stat_runtime \
    filemap/mm_filemap_add_to_page_cache filemap/mm_filemap_delete_from_page_cache; do
    echo 1 >"$RING/events/$event/enable"
  done
  echo 1 >"$RING/tracing_on"
  "$2"
  echo 0 >"$RING/tracing_on"
  for cpu in "$RING"/per_cpu/cpu*; do
    sed -n "s/^overrun: //p" "$cpu/stats"
  done >"/out/$1.overruns"
  ring_compare --save "/out/$1.capture" "$RING" >"/out/$1" || true
}

storm() {
  for round in $(seq "$ROUNDS"); do
    work
    echo 0 >/sys/devices/system/cpu/cpu2/online
    work
    echo 1 >/sys/devices/system/cpu/cpu2/online
  done
}

echo 8192 >"$RING/buffer_size_kb"
ROUNDS=5
capture many storm
rm -r /out/many.capture

# Full at once: what is dropped is counted.
echo 8 >"$RING/buffer_size_kb"
capture small little_work

if [ -e "$RING/buffer_subbuf_size_kb" ]; then
  echo 16 >"$RING/buffer_subbuf_size_kb"
  echo 8192 >"$RING/buffer_size_kb"
  capture large work
  rm -r /out/large.capture
fi
