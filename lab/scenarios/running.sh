# A test runs in the drive already. The second user is told so, with how far it is, and the first
# one's test goes on.
drive ahci LAB0001 60:passed

guest() {
  ( sleep 20; hddtest run --json --force /dev/sda > /tmp/second 2> /tmp/second.errors ) &
  hddtest run $format /dev/sda
  wait
}

check() {
  expect_outcome passed
  expect --in second 0.outcome None
  expect --in second 0.cause running
  expect --in second 0.remaining '[1-9]0'
  expect_in second.errors 1 '/dev/sda was not tested: a test runs in it already, '
}
