# shellcheck shell=bash
# Sourced by ./run, ./test, ./package, ./lint and the scripts of bench/, fuzz/, tests/soak/ and tools/:
# installs missing Debian packages and builds.
#
#   require_packages PACKAGE...   installs those that are missing; exits with 3 when it may not
#   require_fleet_packages        installs those of ./test fleet; returns another status when it may not
#   require_package_lists         fetches apt's package lists when there are none
#   build PRESET [TARGET...]      configures and builds; shows how far it is, and the log when it fails
#   show_help FILE "$@"           shows the comment at the head of FILE and ends if --help is asked for

build_packages="g++ cmake ninja-build python3 libexpat1-dev libcli11-dev nlohmann-json3-dev
 libfmt-dev libgnutls28-dev libcrypt-dev libsqlite3-dev libgtest-dev
 libgmock-dev"
run_packages="smartmontools nvme-cli hwinfo"
lab_packages="qemu-system-x86 perl-base xz-utils zstd binutils libkmod2 libsystemd-shared"
package_packages="dpkg-dev file git" # git tells the time of the commit
test_packages="$package_packages sblim-wbemcli openssl systemd lintian man-db logrotate locales
 universal-ctags"
fleet_packages="$run_packages $package_packages systemd prometheus prometheus-alertmanager
 prometheus-node-exporter ansible-core ansible-lint python3-apt openssh-client openssh-server chromium"
lint_packages="clang-format clang-tidy"
bench_packages="libbenchmark-dev hwinfo smartmontools"
fuzz_packages="clang libclang-rt-dev"

as_root=
[ "$(id -u)" = 0 ] || as_root=$(command -v sudo || echo false)

say() { echo "$*" >&2; }

show_help() {
  case ${2-} in
    -h | --help) ;;
    *) return 0 ;;
  esac
  sed -n '2,/^[^#]/{s/^# \{0,1\}//p;s/^#$//p}' "$1"
  exit 0
}

# begin_log FOLDER FILE: makes both. Where this user may not, says what to do and exits with 3.
begin_log() {
  local why place=$1/$2
  why=$({ mkdir -p "$1" && : >"$1/$2"; } 2>&1) && return 0
  # The first of these that exists: the file, a folder of its path, or the folder that holds it all.
  while [ ! -e "$place" ] && [[ $place == */* ]]; do place=${place%/*}; done
  [ -e "$place" ] || place=.
  say "$1/$2 cannot be written: ${why##*: } ($place belongs to $(stat -c %U "$place"))."
  say "Do this as that user, or in a copy of the sources that is your own."
  exit 3
}

missing_packages() {
  local package
  for package in "$@"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
      echo "$package"
  done
}

require_packages() {
  local missing
  missing=$(missing_packages "$@" | tr '\n' ' ')
  [ -n "$missing" ] || return 0
  say "Installing ${missing% }"
  begin_log build install.log
  if { [ -z "$as_root" ] || $as_root -n true 2>/dev/null || [ -t 0 ]; } && {
    $as_root apt-get update -qq
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
      $missing
  } </dev/null >build/install.log 2>&1; then
    return 0
  fi
  say "Packages are missing and could not be installed (the log is build/install.log)."
  # What apt complains of. A log without such a line means that this user may not call apt.
  grep -m 3 '^E: ' build/install.log | LC_ALL=C tr -dc '[:print:]\n' | sed 's/^E: /apt says: /' | uniq >&2
  [ -s build/install.log ] || say "This user may not install packages: there is no sudo that lets it."
  say "As root, run:"
  say "  apt-get update && apt-get install --no-install-recommends ${missing% }"
  exit 3
}

# The tests start these programs themselves. As services, which a package starts when it is installed, they
# would listen on the network. So each unit that comes with them is masked, which 'systemctl unmask'
# takes back; and for a container without systemd, which knows no masks, policy-rc.d refuses all starts
# while the packages are installed.
require_fleet_packages() (
  missing=$(missing_packages $fleet_packages)
  units=${machine_root-}/etc/systemd/system policy=${machine_root-}/usr/sbin/policy-rc.d
  services=$(sed -n 's/^openssh-server$/ssh/p; /^prometheus/p' <<< "$missing" | tr '\n' ' ')
  if [ -n "$services" ] && { [ -z "$as_root" ] || $as_root -n true 2>/dev/null || [ -t 0 ]; }; then
    say "Masking the services ${services% }"
    $as_root mkdir -p "$units"
    for service in $services; do
      [ -e "$units/$service.service" ] || $as_root ln -s /dev/null "$units/$service.service"
    done
    if [ ! -e "$policy" ]; then
      trap '$as_root rm -f "$policy"' EXIT
      printf '#!/bin/sh\nexit 101\n' | $as_root tee "$policy" >/dev/null
      $as_root chmod 755 "$policy"
    fi
  fi
  require_packages $missing
)

# The lab fetches its kernel through apt's package lists, which a new machine may lack.
require_package_lists() {
  [ ! -s build/lab/kernel ] || return 0
  ! apt-cache show linux-image-amd64 >/dev/null 2>&1 || return 0
  $as_root apt-get update -qq </dev/null >&2 && return 0
  say "The package lists could not be fetched. As root, run:"
  say "  apt-get update"
  exit 3
}

# Copies what a build prints to the file, and shows how far the build is: on a terminal in one line
# that is written over, elsewhere in a line for each fifth.
build_progress() {
  local log=$1 line number all shown=0 rewrites=
  [ ! -t 2 ] || [ "${TERM:-dumb}" = dumb ] || rewrites=yes
  while IFS= read -r line; do
    printf '%s\n' "$line" >&3
    [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
    number=${BASH_REMATCH[1]} all=${BASH_REMATCH[2]}
    ((all > 0)) || continue
    if [ -n "$rewrites" ]; then
      printf '\r  %d of %d steps\033[K' "$number" "$all" >&2
    elif ((number * 5 / all > shown)); then
      shown=$((number * 5 / all))
      say "  $number of $all steps"
    fi
  done 3>"$log"
  [ -z "$rewrites" ] || printf '\r\033[K' >&2
}

build() {
  local preset=$1 tree=build united=
  shift
  case $preset in
    default) ;;
    bench | fuzz) tree=build/$preset-tree ;; # build/bench is a part of the ordinary tree
    *) tree=build/$preset ;;
  esac
  begin_log "$tree" build.log
  # A tree that is made here is made in the way that takes least time; one that is there stays as it is.
  [ "$preset" != default ] || [ -e build/CMakeCache.txt ] || united="-D HDDTEST_UNITY=ON"
  say "Building ($preset), for the first time this takes minutes; the log is $tree/build.log"
  if ! (
    set -o pipefail
    { cmake --preset "$preset" $united && cmake --build "$tree" ${1:+--target "$@"}; } 2>&1 |
      build_progress "$tree/build.log"
  ); then
    tail -n 40 "$tree/build.log" >&2
    say "The build failed; the whole log is $tree/build.log"
    exit 3
  fi
}
