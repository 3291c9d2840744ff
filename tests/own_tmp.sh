#!/bin/sh
# Runs a test with a /tmp of its own, an empty tmpfs that goes with the test. Discovery's scratch file
# has one name for the whole machine, and what one test puts there would change the result of another.
#
#   own_tmp.sh SOURCES PROGRAM [ARGUMENT]...     SOURCES is the project's folder
#
# Sources and build tree below /tmp stay where they are. Without the right to mount, which an ordinary
# user lacks and root in some containers, the test runs in the /tmp of everybody.
set -u
sources=$1
shift
unshare --mount true 2>/dev/null || exec "$@"
case $sources in
  /tmp/*) ;;
  *) for word; do
       # A build tree that is there alone cannot stay.
       case $word in /tmp/*) exec "$@" ;; esac
     done ;;
esac
# shellcheck disable=SC2016
exec unshare --mount sh -c '
  exec 9<"$0" && mount -t tmpfs tmpfs /tmp && chmod 1777 /tmp || exit 1
  case $0 in
    /tmp/*) mkdir -p "$0" && mount -c --bind /proc/self/fd/9 "$0" && cd "$PWD" || exit 1 ;;
  esac
  exec 9<&- "$@"' "$sources" "$@"
