#!/bin/sh
# enter_device.sh DEVICE COMMAND [ARGUMENT]...
#
# Runs a command in a mount namespace of its own, in which /proc, /sys and /data are the folders of that
# name in DEVICE and everything else is this machine's. The real /proc and /sys stay reachable as
# /.kernel-proc and /.kernel-sys, and /proc/self leads there: sanitizers need their own memory map. No step forks behind the command's
# back, so the command keeps the process id that the caller was given.
set -eu
device=$1
shift

if [ "${1-}" != --inside ]; then
  set -- "$0" "$device" --inside "$@"
  if [ "$(id -u)" != 0 ]; then
    exec unshare --user --map-root-user --mount --propagation private "$@"
  fi
  if unshare --mount --propagation private true 2>/dev/null; then
    exec unshare --mount --propagation private "$@"
  fi
  # In a chroot the root is no mount point, whose propagation could be switched off. Entering a mount
  # namespace, be it one's own, leads to its real root; the way back is a descriptor.
  exec unshare --mount --propagation unchanged sh -c '
    exec 9</
    exec nsenter --mount=/proc/self/ns/mnt sh -c "$0" "$@"' '
      mount --make-rprivate / && cd /proc/self/fd/9 && exec chroot . "$@" 9<&-' sh "$@"
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
mkdir "$root/.kernel-proc" "$root/.kernel-sys" "$root/proc" "$root/sys" "$root/data"
mount --rbind /proc "$root/.kernel-proc"
mount --rbind /sys "$root/.kernel-sys"
for folder in proc sys data; do
  mount --bind "$device/$folder" "$root/$folder"
done
exec chroot "$root" "$@"
