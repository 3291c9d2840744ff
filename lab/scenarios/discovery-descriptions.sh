# The names of onboard and USB drives decide too. A logical volume leaves out every drive; when it
# is gone, each drive is decided on by its own name. An onboard drive with the name of the RAID
# family can be tested, since hwinfo does not give the generic device by which it would be
# recognised.
real_time
drive piix LAB0001
drive ahci LAB0002 '' 'model=PQI Disk'
drive ahci LAB0003 '' 'model=Vellacore Disk'
drive ahci LAB0004 '' 'model=Logical Volume'
drive usb-storage LAB0005 '' 'product=Vellacore Disk'

guest() {
  for drive in /sys/block/sd*; do
    echo "${drive##*/} $(cat "$drive/device/model")"
  done > /tmp/models.output
  offered volume
  echo 1 > "/sys/block/$(sed -n 's/ .*Volume.*//p' /tmp/models.output)/device/delete"
  offered others
}

# Drives of one controller are named in the order in which they come up, which may be any order.
decisions() {
  while read -r drive model; do
    case "$drive $model" in
      *Volume*) ;;
      *PQI*) echo "$drive=micro-flash" ;;
      sde*) echo "$drive=lsi" ;;
      *) echo "$drive=testable" ;;
    esac
  done < models.output
}

check() {
  expect_drives --run volume sda=raid sdb=raid sdc=raid sdd=raid sde=raid
  # shellcheck disable=SC2046
  expect_drives --run others $(decisions)
}
