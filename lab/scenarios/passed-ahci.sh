# A drive on an AHCI controller takes its time, and passes.
drive ahci LAB0001 22:passed

check() {
  expect_outcome passed
  expect_progress
  expect_log 'Completed without error'
}
