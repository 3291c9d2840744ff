# A reset of the drive interrupts the test: reported like an aborted one.
drive piix LAB0001 14:interrupted

check() {
  expect_outcome aborted
  expect_progress
  expect_log 'Interrupted (host reset)'
}
