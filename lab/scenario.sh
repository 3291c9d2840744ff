# What scenarios are written with, and how one is run (sourced by run).
#
# A scenario is a shell file that says which drives the machine has, may replace what runs in the
# guest, and checks on the host what came back:
#
#   drive CONTROLLER SERIAL [LIFE [PROPERTIES]]    on one of the controllers below; LIFE as in
#                          machine.pl; PROPERTIES as the emulator's device takes them. Drivers are
#                          loaded in this order, so the order is sda, sdb, ... (of SCSI and ATA)
#   machine PRODUCT [BIOS]    the machine's product name and BIOS version; $excluded_type is a type
#                          on which the test is not offered
#   with_udev              the guest runs udev
#   with_client            the guest has wbemcli, as this machine has it
#   with_nvme              the guest has nvme, as this machine has it
#   lasting_disk           /var/lib is on a disk that stays when guest calls power_cycle; then drivers are
#                          loaded in the opposite order, and guest_again() { ...; } runs
#   real_time              the guest's clock does not leap: takes a third less where nothing waits
#   pack() { ...; }        on the host, puts more files into the guest's root, its argument
#   guest() { ...; }       runs in the guest's shell; $format is --json, or empty on a console
#   check() { ...; }       expect..., on the host, among the results: what the guest left in output,
#                          errors, status and log
#
# The words for the guest are guest/words.

# Controllers: kernel modules, the emulator's device, the device of a drive, its bus (% is its number
# on the controller). A PIIX controller and a PCI bus are always there.
declare -A controllers=(
  [piix]='ata_piix - ide-hd ide.%'
  [ahci]='ahci ich9-ahci ide-hd ahci.%'
  [megasas]='megaraid_sas megasas scsi-hd megasas.0'
  [mptsas]='mptsas mptsas1068 scsi-hd mptsas.0'
  [virtio-scsi]='virtio_pci,virtio_scsi virtio-scsi-pci scsi-hd virtio-scsi.0'
  [virtio-blk]='virtio_pci,virtio_blk - virtio-blk-pci pci.0'
  [nvme]='nvme - nvme pci.0'
  [usb-storage]='xhci-pci,usb-storage usb-bot scsi-hd usb-storage.0'
  [uas]='xhci-pci,uas usb-uas scsi-hd uas.0'
)

drive() {
  local device disk bus number=${on_controller[$1]-0} name=
  read -r _ device disk bus <<< "${controllers[$1]?}"
  on_controller[$1]=$((number + 1))
  if [ "$number" = 0 ]; then
    drivers+=("$1")
    [[ $device != usb-* || ${devices[*]} == *qemu-xhci* ]] || devices+=(-device qemu-xhci)
    [ "$device" = - ] || devices+=(-device "$device,id=$1")
  fi
  case $disk in
    ide-hd) name=",model=LAB DISK $2,ver=1.0" ;;
    scsi-hd) name=",vendor=LAB,product=DISK $2,ver=1.0,wwn=$((0x5000c50000000000 + drives))" ;;
  esac
  devices+=(-drive "if=none,id=disk$drives,driver=null-co,size=64M,read-zeroes=on"
    -device "$disk,bus=${bus/\%/$number},drive=disk$drives,serial=$2$name${4:+,$4}")
  [ -z "${3-}" ] || lives+=("$2=$3")
  drives=$((drives + 1))
}

machine() { devices+=(-smbios "type=1,product=$1" ${2+-smbios "type=0,version=$2"}); }

# In the guest's memory, which a reset leaves alone. A file on the host would make the guest wait.
lasting_disk() {
  lasting=yes reboot=()
  kernel_options+=('memmap=16M!128M')
  with_program mkfs.ext4
}

real_time() { clock=(); }

with_udev() { udev=("$build/lab/udev.cpio"); }

with_program() { # with_program NAME: as this machine has it
  local program
  program=$(PATH=$PATH:/usr/sbin:/sbin command -v "$1") || { echo "skipped $name: $1 is not installed"; exit 77; }
  programs+=("$program")
}

with_client() { with_program wbemcli; }

with_nvme() { with_program nvme; }

pack() { :; }

guest() { hddtest run $format /dev/sda; }

wrong() { echo "FAILED $name: $*"; exit 1; }

expect_status() {
  [ "$(cat status)" = "$1" ] || wrong "exit status $(cat status), not $1 $(head -n 1 errors)"
}

# expect_outcome OUTCOME: the outcome of the first and only drive, wherever it shows
expect_outcome() {
  case $1 in
    passed) set -- "$1" 0 2 HDST-000 ;;
    failed) set -- "$1" 1 5 HDST-100 ;;
    aborted) set -- "$1" 2 6 HDST-200 ;;
  esac
  expect_status "$2"
  expect 0.outcome "$1"
  expect 0.record.CompletionState "$3"
  expect 0.record.RecordData "$4: ?*"$'\n''1. ?*'
}

# expect [--in FILE] PATH PATTERN: a value of the answer, such as 0.record.CompletionState (0 is the
# first drive)
expect() {
  local value answer=output
  if [ "$1" = --in ]; then answer=$2; shift 2; fi
  value=$(python3 -c 'import json, sys
value = json.load(sys.stdin)
for key in sys.argv[1].split("."):
    value = value[int(key) if key.isdigit() else key]
print(value)' "$1" < "$answer" 2> /dev/null) || wrong "no $1 in the answer"
  [[ $value == $2 ]] || wrong "$1 is '$value', not '$2'"
}

# expect_in FILE COUNT TEXT: so many lines of the file hold the text
expect_in() {
  local count
  count=$(grep -cF -e "$3" "$1") || true
  [ "$count" = "$2" ] || wrong "$1 has $count lines with '$3', not $2"
}

expect_log() {
  grep -qF -- "$1" log || wrong "no '$1' in the log"
}

expect_no_log() {
  ! grep -qF -- "$1" log || wrong "'$1' in the log"
}

# expect_drives [--run RUN] DEVICE=DECISION...: what discovery decided on each drive, see decisions
expect_drives() {
  local run= differs
  if [ "${1-}" = --run ]; then run=$2; shift 2; fi
  differs=$("$lab/decisions" "${run:+$run.}output" "${run:+$run.}log" "$@" 2>&1) || wrong "$run $differs"
}

# The drive was seen testing, at several stages, and then no more.
expect_progress() {
  [ "$(grep -o 'in progress [1-9]0%' log | sort -u | wc -l)" -ge 3 ] || wrong "no progress in the log"
  expect_log 'Test is completed, get test status'
}

# pack_libraries ROOT PROGRAM...: what they load, below /usr, since /lib of the guest is a link to
# /usr/lib
pack_libraries() {
  local root=$1 library copy
  shift
  { "$lab/libraries" "$@" | grep -v "^$root" || true; } |
    while read -r library; do
      copy=$root/usr${library#/usr}
      mkdir -p "${copy%/*}" && cp -L "$library" "$copy"
    done
}

pack_tools() {
  [ ${#programs[@]} -gt 0 ] || return 0
  mkdir -p "$1/usr/bin" && cp -L "${programs[@]}" "$1/usr/bin"
  pack_libraries "$1" "${programs[@]}"
}

# The program as it stands in the build tree, and the libraries that it needs.
pack_program() {
  read -r excluded_type < <("$build/test/excluded_machine_types")
  local root=$work/program
  mkdir -p "$root/opt/hddtest"
  ( cd "$build" && cp -r --parents bin/hddtest lib/*.so libexec/hvx-run share/hddtest "$root/opt/hddtest" )
  pack_libraries "$root" "$root"/opt/hddtest/{bin/*,lib/*}
  find "$root" -type f -exec strip --strip-debug {} + 2> /dev/null || true
  archive "$root" > "$work/program.cpio"
}

archive() { ( cd "$1" && find . | "$build"/lab/unpacked/busybox-static/bin/busybox cpio -o -H newc -R 0:0 2> /dev/null ); }

load_drivers() { # load_drivers DRIVER...: in this order
  local driver present=${lasting:+1}
  for driver; do
    present=$((present + on_controller[$driver]))
    echo "load '${controllers[$driver]%% *}' $present"
  done
}

# run_guest FUNCTION: and take what it left out of the guest
run_guest() {
  declare -f "$1"
  if [ -n "$console" ]; then
    echo "export format= TERM=${TERM:-dumb} ${NO_COLOR:+NO_COLOR=1}"
    if [ -n "$terminal" ]; then echo "stty cols $(tput cols) rows $(tput lines)"; echo "$1"; else echo "$1 | cat"; fi
  else
    echo "$1 > /tmp/output 2> /tmp/errors; echo \$? > /tmp/status"
    echo leave_results
  fi
}

# What the guest runs. The first test gives each drive the log by which machine.pl knows it.
guest_commands() {
  cat "$lab/guest/words"
  echo 'export PATH=/opt/hddtest/bin:$PATH HVX_LOG_FILE=/tmp/log format=--json'
  if [ ${#udev[@]} -gt 0 ]; then echo start_udev; fi
  if [ -n "$lasting" ]; then
    echo mount_lasting_disk
    echo 'if [ -e /var/lib/begun ]; then'
    local opposite
    mapfile -t opposite < <(printf '%s\n' "${drivers[@]}" | tac)
    load_drivers "${opposite[@]}"
    run_guest guest_again
    echo 'poweroff -f; fi; touch /var/lib/begun; sync'
  fi
  load_drivers "${drivers[@]}"
  if [ ${#lives[@]} -gt 0 ]; then
    echo 'for drive in /dev/sd?; do /lab/smartctl -t short $drive; done > /dev/null'
    echo 'smartctl -V > /dev/null'
  fi
  run_guest guest
}

# On a busy host the starting kernel does not get the interrupts by which it checks its timer, and
# would panic: no_timer_check. It prints nothing itself; loglevel=1 would show panics, but also that
# it powers down. The rest spares it half of what it does until a scenario begins: checks of its
# ciphers, and with rodata and mitigations protections that a machine of a few seconds does not need.
kernel_options=(console=ttyS0 quiet loglevel=0 panic=-1 no_timer_check cryptomgr.notests rodata=off
  mitigations=off)

run_machine() {
  if [ -n "$console" ]; then real_time; fi
  mkdir -p "$work/$name/lab"
  guest_commands > "$work/$name/lab/scenario"
  pack_tools "$work/$name"
  pack "$work/$name"
  { cat "$build/lab/base.cpio" "${udev[@]}" "$work/program.cpio"; archive "$work/$name"; } > "$work/$name.cpio"
  timeout --foreground 300 "$lab/machine.pl" "${lives[@]}" -- qemu-system-x86_64 -M pc -accel tcg -m 384 -nodefaults \
    -display none "${reboot[@]}" -rtc base=2020-01-01,clock=vm -device pvpanic -action panic=pause "${clock[@]}" \
    -kernel "$build/lab/vmlinux" -initrd "$work/$name.cpio" -append "${kernel_options[*]}" \
    -serial stdio -virtfs "local,path=$results,mount_tag=results,security_model=none" \
    "${devices[@]}" < /dev/null
}

run_scenario() {
  name=$1
  trap 'wrong "$BASH_COMMAND"' ERR
  results=$build/lab/results/$name
  # Under virtual time the guest's clock leaps to the next timer whenever the guest is idle.
  clock=(-icount shift=2,sleep=off)
  devices=() drivers=() lives=() drives=0 udev=() programs=() lasting= reboot=(-no-reboot)
  local -A on_controller=()
  [ -f "$lab/scenarios/$name.sh" ] || wrong "there is no such scenario"
  source "$lab/scenarios/$name.sh"
  if [ ${#lives[@]} -gt 0 ] && ! "$lab/machine.pl" --permitted; then
    echo "skipped $name: this machine does not let us write to the memory of our own child process"
    exit 77
  fi
  rm -rf "$results" && mkdir -p "$results"
  if [ -n "$console" ]; then
    if [ -t 1 ]; then run_machine; else run_machine | sed -u 's/\r//g'; fi
    exit
  fi
  run_machine > "$results/console" 2>&1 || wrong "the machine failed: $(tail -n 1 "$results/console")"
  cd "$results"
  [ -f status ] || wrong "the guest left no result: $(tail -n 1 console)"
  check
  echo "ok $name"
}
