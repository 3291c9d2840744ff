# Where udev runs, hwinfo lists the drives under more names: the decisions are the same.
real_time
with_udev
drive piix LAB0001
drive virtio-scsi LAB0002

guest() {
  udevadm settle
  hwinfo --disk > /tmp/report
  offered run
}

check() {
  expect_drives --run run sda=testable sdb=raid
  grep -q 'Device Files: .*/dev/disk/by-id/ata-LAB_DISK_LAB0001' report || wrong "udev gave no names"
}
