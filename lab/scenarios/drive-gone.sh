# The drive goes away in the middle of its test.
drive ahci LAB0001 60:passed

guest() {
  ( sleep 12; echo 1 > /sys/block/sda/device/delete ) &
  hddtest run $format /dev/sda
}

check() {
  expect_outcome failed
  expect 0.cause drive-gone
  expect 0.reason 'the drive disappeared during the test: Smartctl open device: /dev/sda failed: No such device'
  expect_log 'Self-test routine in progress 90%'
  expect_log 'open device: /dev/sda failed: No such device'
  expect_log 'Can not find keyword (Self-test log)'
}
