# SMART is switched off: the drive is reported as failed, and no test is started.
drive piix LAB0001 smart-off

check() {
  expect_outcome failed
  expect_log 'SMART is not enabled on /dev/sda'
  expect_no_log "Trigger Self-Test"
}
