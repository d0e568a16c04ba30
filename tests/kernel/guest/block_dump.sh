# Page-cache traffic of files on three kinds of disks. A second instance of the kernel's tracing counts the
# same events.
. /lib.sh
mount_disks
FILES="/mnt/vda/thirty /mnt/sda/forty /mnt/mmcblk0/fifty /mnt/mmcblk0/whole"
dd if=/dev/urandom of=/mnt/vda/thirty bs=4k count=30 2>/dev/null
dd if=/dev/urandom of=/mnt/sda/forty bs=4k count=40 2>/dev/null
# The last page of this one is not full.
dd if=/dev/urandom of=/mnt/mmcblk0/fifty bs=1000 count=202 2>/dev/null
dd if=/dev/urandom of=/mnt/mmcblk0/whole bs=1M count=2 2>/dev/null
sync
load pages drop $FILES
for file in $FILES; do
  stat -c '%n %d %i' $file >>/out/files
done

SECOND=$TRACING/instances/second
mkdir "$SECOND"
echo 4096 >"$SECOND/buffer_size_kb"
echo 1 >"$SECOND/events/filemap/enable"

start report --stdout --sig --block-dump --no-proc-cpu
# The first measurement has the reading, the second one the removal.
toggle
load pages read /mnt/vda/thirty /mnt/sda/forty /mnt/mmcblk0/fifty
# As much at a time as the kernel likes.
cat /mnt/mmcblk0/whole >/dev/null
toggle
toggle
load pages drop $FILES
toggle
interrupt report
echo 0 >"$SECOND/tracing_on"
cat "$SECOND/trace" >/out/second
controls "$TRACING" >/out/controls

start enter --stdout --enter --block-dump --no-proc-cpu
waiting
load pages read /mnt/sda/forty
enter
finish enter
load pages drop /mnt/sda/forty
start once --stdout --iter=1 --interval=2 --block-dump --no-proc-cpu
waiting
load pages read /mnt/sda/forty
kill -0 "$PID"
finish once
cp /data/inode.txt /out/inode.txt
