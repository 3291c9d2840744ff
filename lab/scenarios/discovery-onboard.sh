# Drives on a PIIX and on an AHCI controller can be tested, but none when hwinfo is gone: then no
# drive is known to be a disk. The machine's type, given in brackets, is a common one.
real_time
machine 'Example Server 1 -[EX01AC1]-'
drive piix LAB0001
drive ahci LAB0002

guest() {
  offered
  rm /usr/sbin/hwinfo
  offered without
  HVX_LOG_FILE=/dev/null hddtest drives --offered --json > /tmp/drives
}

check() {
  expect_status 0
  expect_drives sda=testable sdb=testable
  expect_log 'MT  =EX01'
  expect_drives --run without sda=no-disk sdb=no-disk
  for number in 0 1; do expect --in drives $number.reason 'hwinfo missing'; done
}
