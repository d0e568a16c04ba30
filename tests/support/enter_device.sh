#!/bin/sh
# enter_device.sh DEVICE COMMAND [ARGUMENT]...
#
# Runs a command in a mount namespace of its own, in which /proc, /sys and /data are the folders of that
# name in DEVICE and everything else is this machine's. The real /proc stays reachable as /.kernel-proc,
# and /proc/self leads there: sanitizers need their own memory map. No step forks behind the command's
# back, so the command keeps the process id that the caller was given.
set -eu
device=$1
shift

if [ "${1-}" != --inside ]; then
  set -- "$device" --inside "$@"
  if [ "$(id -u)" = 0 ]; then
    exec unshare --mount --propagation private "$0" "$@"
  fi
  exec unshare --user --map-root-user --mount --propagation private "$0" "$@"
fi
shift

root=$device/root
mkdir -p "$root"
mount -t tmpfs device "$root"
for entry in /*; do
  case $entry in
    /proc | /sys | /data | '/*') continue ;;
  esac
  if [ -L "$entry" ]; then
    cp -P "$entry" "$root$entry"
  elif [ -d "$entry" ]; then
    mkdir "$root$entry"
    mount --rbind "$entry" "$root$entry"
  fi
done
mkdir "$root/.kernel-proc" "$root/proc" "$root/sys" "$root/data"
mount --rbind /proc "$root/.kernel-proc"
for folder in proc sys data; do
  mount --bind "$device/$folder" "$root/$folder"
done
exec chroot "$root" "$@"
