#!/bin/sh
# few_files.sh COMMAND [ARGUMENT]...
#
# On a device that enter_device.sh has made: runs a command on a root that holds the device's /proc, /sys
# and /data and otherwise nothing but the programs among the arguments with their libraries, so that all
# of its files can be walked at once. The command keeps the process id.
set -eu
root=/mnt
mount -t tmpfs few "$root"
for file; do
  case $file in
    /*) cp -L --parents "$file" $(ldd "$file" | grep -o '/[^ ]*') "$root" ;;
  esac
done
for folder in proc sys data; do
  if [ -d "/$folder" ]; then
    mkdir "$root/$folder"
    mount --rbind "/$folder" "$root/$folder"
  fi
done
mkdir -p "$root/.kernel-proc/self"
mount --bind "/.kernel-proc/$$" "$root/.kernel-proc/self"
# A coverage build writes its counts to where it was built, which is out of reach but by a descriptor.
exec 9</
export GCOV_PREFIX=/.kernel-proc/self/fd/9
exec chroot "$root" "$@"
