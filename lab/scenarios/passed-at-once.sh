# A drive that is done before the first look, so that only the changed log shows the test. The
# emulator's own drives do this, so this is the one scenario that runs everywhere.
drive piix LAB0001

check() {
  expect_outcome passed
  expect_log 'Log entry has been changed, get test status'
}
