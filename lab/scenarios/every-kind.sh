# What a user meets: two drives that are tested, both at once, and three that are left out.
drive piix LAB0001 40:passed
drive ahci LAB0002 25:read-failure:12345
drive megasas LAB0003
drive usb-storage LAB0004
drive nvme LAB0005
with_nvme

guest() {
  if [ -n "$format" ]; then hddtest drives --offered $format > /tmp/drives; else hddtest drives; fi
  hddtest run $format
}

expect_drive() {
  expect --in drives "$1.device" "/dev/$2"
  expect --in drives "$1.testable" "$3"
  expect --in drives "$1.reason" "$4"
  expect --in drives "$1.smart" "$5"
  expect --in drives "$1.serial" "$6"
  expect --in drives "$1.connection" "$7"
  expect --in drives "$1.size" 67108864
}

check_drives() {
  expect_drive 0 nvme0n1 True None False LAB0005 NVMe
  expect_drive 1 sda True None True LAB0001 ATA
  expect_drive 2 sdb True None True LAB0002 SATA
  expect_drive 3 sdc False RAID None LAB0003 'SAS/RAID (megaraid_sas)'
  expect_drive 4 sdd False USB None None USB
  expect 0.cause no-self-test
  expect 0.reason 'the drive says that it has no self-test'
  expect 3.device /dev/bus/8
  expect 3.reason 'the drive keeps no log of self-tests*'
  expect 4.reason USB
  for number in 0 3; do expect $number.outcome aborted; done
  expect 4.outcome None
}

check() {
  expect_status 1 # one failed
  check_drives
  expect 0.status 2
  expect 1.outcome passed
  expect 2.outcome failed
  expect 2.status 1
  # Each test was done in a process of its own.
  for number in 1 2; do expect $number.job.InstanceID HDDTest_ConcreteJob001; done
}
