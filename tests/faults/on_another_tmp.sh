#!/bin/sh
# Runs test programs with a folder of a disk in place of /tmp, in a mount namespace of their own: what
# becomes of the scratch file there must not depend on the file system. A tmpfs is there in all other
# runs of these programs (tests/own_tmp.sh).
#
#   on_another_tmp.sh FOLDER PROGRAM...
#
# Ends with 77, skipped, where this may not be done or would hide the programs.
set -u
folder=$1
shift
for program; do
  case $program in /tmp/*) echo "the build tree is in /tmp"; exit 77 ;; esac
done
unshare --mount true 2>/dev/null || { echo "this machine does not let us have mounts of our own"; exit 77; }
# shellcheck disable=SC2016
exec unshare --mount sh -c '
  mkdir -p "$0" && mount --bind "$0" /tmp && chmod 1777 /tmp || {
    echo "this machine does not let us mount another /tmp"
    exit 77
  }
  status=0
  for program; do
    "$program" || status=1
  done
  exit $status' "$folder" "$@"
