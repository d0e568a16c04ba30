#!/bin/bash
# Usage: scripts/apt-configuration.sh FOLDER
#
# Prints an apt.conf(5) with which apt sees arm64 packages of FOLDER/sources.list and no installed package,
# and keeps its state in FOLDER, which gets the folders for it. The machine's package lists, sources and
# architectures stay as they are. The way to the mirrors is the machine's; what else the machine does around
# an update is not wanted here.
set -euo pipefail

folder=$1
mkdir -p "$folder"/{lists,archives}/partial
: >"$folder/status"
apt-config dump | grep '^Acquire::'
cat <<CONFIGURATION
Acquire::Languages "none";
Dir::Etc {
  main "/dev/null";
  parts "/dev/null";
  sourcelist "$folder/sources.list";
  sourceparts "/dev/null";
  preferences "/dev/null";
  preferencesparts "/dev/null";
};
Dir::State {
  lists "$folder/lists";
  status "$folder/status";
  extended_states "$folder/extended_states";
};
Dir::Cache {
  archives "$folder/archives";
  pkgcache "";
  srcpkgcache "";
};
APT::Architecture "arm64";
APT::Architectures { "arm64"; };
APT::Sandbox::User "root";
CONFIGURATION
