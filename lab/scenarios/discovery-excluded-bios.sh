# The test is not offered on a machine whose BIOS version equals an excluded type.
real_time
machine EX01AC1 "$excluded_type"
drive piix LAB0001

guest() { offered; }

check() {
  expect_drives
  expect_log 'MT  =EX01'
  expect_log "enum_instances, BIOSID($excluded_type) is not supported!"
  expect_no_log 'cimom::enum_instances'
}
