#!/bin/sh
# enter_clean_tree.sh ARCHIVE FOLDER COMMAND [ARGUMENT]...
#
# Unpacks the tree that scripts/debian-tree.sh has made into FOLDER, for the command alone, and runs it in
# there. What was in FOLDER is in the tree's /mnt.
set -eu
archive=$1 folder=$2
shift 2

if [ "${1-}" != --inside ]; then
  exec "$(dirname "$0")/../support/private_mounts.sh" "$0" "$archive" "$folder" --inside "$@"
fi
shift

tree=$folder/tree
mkdir "$tree"
mount -t tmpfs clean "$tree"
# An ordinary user can neither make devices nor give files away.
tar --extract --file "$archive" --directory "$tree" --exclude './dev/*' --no-same-owner
mount --rbind /dev "$tree/dev"
mount --rbind /proc "$tree/proc"
mount --bind "$folder" "$tree/mnt"
exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
  chroot "$tree" "$@"
