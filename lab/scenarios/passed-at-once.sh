# A drive that is done before the first look: nothing but the changed log tells. The emulator's own
# drives are so, which makes this the one scenario that runs everywhere.
drive piix LAB0001

check() {
  expect_outcome passed
  expect_log 'Log entry has been changed, get test status'
}
