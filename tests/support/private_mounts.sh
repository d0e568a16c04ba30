#!/bin/sh
# private_mounts.sh COMMAND [ARGUMENT]...
#
# Runs a command as root in a mount namespace of its own, from which no mount gets out. An ordinary user is
# root in a user namespace. No step forks behind the command's back, so the command keeps the process id
# that the caller was given.
set -eu
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
