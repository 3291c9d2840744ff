# The test is not offered on an excluded type of machine.
real_time
machine "${excluded_type}AC1"
drive piix LAB0001

guest() { offered; }

check() {
  expect_drives
  expect_log "enum_instances, MT($excluded_type) is not supported!"
  expect_no_log 'cimom::enum_instances'
}
