# shellcheck shell=bash
# Sourced by ./run, ./test, ./package, ./lint and the scripts of bench/, fuzz/, tests/soak/ and tools/: installs
# missing Debian packages and builds.
#
#   require_packages PACKAGE...   installs those that are missing; exits with 3 when it may not
#   require_package_lists         fetches apt's package lists when there are none
#   build PRESET [TARGET...]      configures and builds quietly; shows the log when it fails

build_packages="g++ cmake ninja-build python3 libexpat1-dev libcli11-dev nlohmann-json3-dev
 libfmt-dev libmicrohttpd-dev libgnutls28-dev libcrypt-dev libgtest-dev libgmock-dev"
run_packages="smartmontools hwinfo"
lab_packages="qemu-system-x86 perl-base xz-utils zstd binutils libkmod2 libsystemd-shared"
package_packages="dpkg-dev file git" # git tells the time of the commit
test_packages="$package_packages sblim-wbemcli openssl systemd lintian man-db logrotate"
lint_packages="clang-format clang-tidy"
bench_packages="libbenchmark-dev hwinfo"
fuzz_packages="clang libclang-rt-dev"

as_root=
[ "$(id -u)" = 0 ] || as_root=$(command -v sudo || echo false)

say() { echo "$*" >&2; }

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
  mkdir -p build
  if { [ -z "$as_root" ] || $as_root -n true 2>/dev/null || [ -t 0 ]; } && {
    $as_root apt-get update -qq
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
      $missing
  } </dev/null >build/install.log 2>&1; then
    return 0
  fi
  say "Packages are missing and could not be installed (build/install.log). As root, run:"
  say "  apt-get update && apt-get install --no-install-recommends ${missing% }"
  exit 3
}

# The lab fetches its kernel by the package lists, which a new machine may not have.
require_package_lists() {
  [ ! -s build/lab/kernel ] || return 0
  ! apt-cache show linux-image-amd64 >/dev/null 2>&1 || return 0
  $as_root apt-get update -qq </dev/null >&2 && return 0
  say "The package lists could not be fetched. As root, run:"
  say "  apt-get update"
  exit 3
}

build() {
  local preset=$1 tree=build
  shift
  case $preset in
    default) ;;
    bench | fuzz) tree=build/$preset-tree ;; # build/bench is a part of the ordinary tree
    *) tree=build/$preset ;;
  esac
  if ! { mkdir -p "$tree" && : >"$tree/build.log"; }; then
    say "$tree cannot be written; run this as the user whom it belongs to."
    exit 3
  fi
  say "Building ($preset), for the first time this takes minutes; the log is $tree/build.log"
  if ! { cmake --preset "$preset" && cmake --build "$tree" ${1:+--target "$@"}; } \
    >"$tree/build.log" 2>&1; then
    tail -n 40 "$tree/build.log" >&2
    say "The build failed; the whole log is $tree/build.log"
    exit 3
  fi
}
