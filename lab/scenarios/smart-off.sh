# SMART is switched off: the drive is not tested, and the user is told how to switch it on.
drive piix LAB0001 smart-off

check() {
  expect_status 3
  expect 0.outcome None
  expect 0.cause smart-off
  expect 0.reason "SMART is off; 'smartctl -s on /dev/sda' switches it on"
  expect_no_log RunDiagnostic
}
