# A drive finds a block that it cannot read.
drive piix LAB0001 14:read-failure:12345

check() {
  expect_outcome failed
  expect_progress
  expect_log 'Completed: read failure'
  expect_log 12345
}
