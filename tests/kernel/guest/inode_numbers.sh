# The cache of file names on file systems of several kinds, beside what stat says of each file.
. /lib.sh

# populate FOLDER: folders of very few and of many files, and one with a mount point among its files.
populate() {
  mkdir -p "$1/few" "$1/many/deep" "$1/mounts"
  for number in 1 2 3; do
    echo text >"$1/few/file$number"
    echo text >"$1/mounts/file$number"
  done
  for number in $(seq 400); do
    : >"$1/many/a-name-of-some-length-$number"
  done
  : >"$1/many/deep/file"
  ln "$1/few/file1" "$1/many/hard"
  mv "$1/many/a-name-of-some-length-7" "$1/few/moved"
  rm "$1/many/a-name-of-some-length-8"
  mount --bind "$1/few/file1" "$1/mounts/file2"
}

mkdir -p /disks/ext4 /disks/f2fs /disks/erofs /disks/tmpfs /disks/overlay /layers
wait_for "the disks" [ -b /dev/vda1 -a -b /dev/vdc -a -b /dev/vdd ]
mount -t ext4 /dev/vda1 /disks/ext4
mount -t f2fs /dev/vdc /disks/f2fs
mount -t erofs -o ro /dev/vdd /disks/erofs
mount -t tmpfs tmpfs /disks/tmpfs
for kind in ext4 f2fs tmpfs; do
  populate "/disks/$kind"
done
# Of an overlay each file has to be asked for. Its lower layer is on another file system than the upper one.
mount -t tmpfs tmpfs /layers
mkdir /layers/upper /layers/work
mount -t overlay -o lowerdir=/disks/f2fs/few,upperdir=/layers/upper,workdir=/layers/work overlay /disks/overlay
echo text >>/disks/overlay/file2
echo text >/disks/overlay/new
find /disks -type f -exec stat -c '%d %i %n' {} + >/out/found

# A second instance of the kernel's tracing counts what the program asks.
SECOND=$TRACING/instances/second
mkdir "$SECOND"
echo 4096 >"$SECOND/buffer_size_kb"

start walk --stdout --enter --block-dump --no-proc-cpu
waiting
echo "$PID" >"$SECOND/set_event_pid"
echo 1 >"$SECOND/events/syscalls/sys_enter_newfstatat/enable"
enter
finish walk
echo 0 >"$SECOND/tracing_on"
grep -c sys_newfstatat "$SECOND/trace" >/out/asked
cp /data/inode.txt /out/inode.txt
