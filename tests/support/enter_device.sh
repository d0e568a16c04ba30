#!/bin/sh
# enter_device.sh DEVICE COMMAND [ARGUMENT]...
#
# Runs a command in a mount namespace of its own, in which /proc, /sys and /data are the folders of that
# name in DEVICE and everything else is this machine's. The real /proc and /sys stay reachable as
# /.kernel-proc and /.kernel-sys, and /proc/self leads there: sanitizers need their own memory map. No step
# forks behind the command's back, so the command keeps the process id that the caller was given.
set -eu
device=$1
shift

if [ "${1-}" != --inside ]; then
  exec "$(dirname "$0")/private_mounts.sh" "$0" "$device" --inside "$@"
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
