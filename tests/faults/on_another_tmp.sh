#!/bin/sh
# Runs test programs with a file system of its choice under /tmp, in a mount namespace of their own:
# what becomes of the scratch file there must not depend on it.
#
#   on_another_tmp.sh tmpfs|FOLDER PROGRAM...     FOLDER is put in place of /tmp
#
# Ends with 77, skipped, where this may not be done or would hide the programs.
set -u
what=$1
shift
for program; do
  case $program in /tmp/*) exit 77 ;; esac
done
unshare --mount true 2>/dev/null || exit 77
# shellcheck disable=SC2016
exec unshare --mount sh -c '
  what=$0
  if [ "$what" = tmpfs ]; then
    mount -t tmpfs tmpfs /tmp
  else
    mkdir -p "$what" && mount --bind "$what" /tmp
  fi && chmod 1777 /tmp || exit 77
  status=0
  for program; do
    "$program" || status=1
  done
  exit $status' "$what" "$@"
