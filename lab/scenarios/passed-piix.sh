# A drive on a PIIX controller takes its time, and passes.
drive piix LAB0001 22:passed

check() {
  expect_outcome passed
  expect_progress
  expect_log 'Completed without error'
}
