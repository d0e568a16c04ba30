# What can be missing or in the way. This guest has no hardware counters.
. /lib.sh

start pmu --stdout --iter=1 --interval=0 --pmu
finish pmu

# traced NAME: a short trace of each kind.
traced() {
  start "$1-systrace" --stdout --iter=1 --interval=0 --systrace --no-proc-cpu
  finish "$1-systrace"
  start "$1-block-dump" --stdout --iter=1 --interval=0 --block-dump --no-proc-cpu
  finish "$1-block-dump"
}

umount /data
mount -t tmpfs -o ro tmpfs /data
traced readonly
umount /data
mount -t tmpfs -o size=4k tmpfs /data
dd if=/dev/zero of=/data/full bs=4k count=1 2>/dev/null
traced full
ls -l /data >/out/full.files
umount /data
rmdir /data
traced missing
[ ! -e /data ]
mkdir /data

# The tracing files at the newer place alone, and then at none.
umount "$TRACING" 2>/dev/null || true
umount "$DEBUGFS"
mount -t tracefs tracefs /sys/kernel/tracing
start tracefs --stdout --enter --systrace
waiting
cat /sys/kernel/tracing/tracing_on >/out/tracefs.on
enter
finish tracefs
controls /sys/kernel/tracing >/out/tracefs.controls
cp /data/trace.txt /out/tracefs.trace
umount /sys/kernel/tracing
start none-systrace --stdout --enter --systrace
finish none-systrace
start none-block-dump --stdout --enter --block-dump
finish none-block-dump
