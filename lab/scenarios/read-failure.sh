# A drive finds a block that it cannot read.
drive piix LAB0001 14:read-failure:12345

check() {
  expect_outcome failed
  expect 0.cause read-failure
  expect 0.block 12345
  expect 0.hours 4660
  expect 0.model 'LAB DISK LAB0001'
  expect 0.serial LAB0001
  expect 0.advice HDST-100
  expect_progress
  expect_log 'Completed: read failure'
  expect_log 12345
}
