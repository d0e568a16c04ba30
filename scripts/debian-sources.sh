#!/bin/bash
# Usage: scripts/debian-sources.sh ARCHITECTURE
#
# Prints the lines of a sources.list(5) for another architecture or another tree of this machine's release:
# the mirrors are the ones that the machine itself uses.
set -euo pipefail

release=$(. /etc/os-release && echo "$VERSION_CODENAME")
key=/usr/share/keyrings/debian-archive-keyring.gpg
lines=$(apt-get indextargets --no-release-info --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
  sort -u |
  sed -nE "s|^(.* $release(-updates\|-security)?) main\$|deb [arch=$1 signed-by=$key] \1 main|p")
if [ -z "$lines" ]; then
  echo "debian-sources.sh: apt knows no mirror of $release" >&2
  exit 1
fi
echo "$lines"
