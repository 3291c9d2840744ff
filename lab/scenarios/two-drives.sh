# Two named drives, on two controllers, one after the other: one passes, one fails.
drive piix LAB0001 12:passed
drive ahci LAB0002 17:read-failure:12345

guest() { hddtest run $format --jobs 1 /dev/sda /dev/sdb; }

check() {
  expect_status 1
  expect 0.device /dev/sda
  expect 0.outcome passed
  expect 1.device /dev/sdb
  expect 1.outcome failed
}
