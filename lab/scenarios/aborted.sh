# Another program aborts the test.
drive ahci LAB0001 14:aborted

check() {
  expect_outcome aborted
  expect_progress
  expect_log 'Aborted by host'
}
