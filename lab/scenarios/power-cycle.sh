# The machine loses power while both drives test themselves, one of them since a moment ago, and comes
# back with the drives under each other's names. The history knows both tests, and says of each, for
# the drive that it was, what became of it.
drive piix LAB0001 600:passed
drive ahci LAB0002 600:passed
lasting_disk

guest() {
  hddtest start --test long /dev/sda > /tmp/long
  sleep 230
  hddtest status /dev/sda > /tmp/running
  keep_results
  hddtest start /dev/sdb > /dev/null && power_cycle
}

guest_again() {
  hddtest history --json > /tmp/before # nobody has looked since
  hddtest status --json /dev/sda /dev/sdb
  local status=$?
  hddtest history > /tmp/history
  return $status
}

# expect_interrupted NUMBER NAME SERIAL KIND NAME-BEFORE
expect_interrupted() {
  local cause='interrupted by a reset or a loss of power'
  expect "$1.device" "/dev/$2"
  expect "$1.serial" "$3"
  expect "$1.running" None
  expect "$1.last.kind" "$4"
  expect "$1.last.device" "/dev/$5"
  expect "$1.last.drive.serial_number" "$3"
  expect "$1.last.source" hddtest
  expect "$1.last.outcome" aborted
  expect "$1.last.cause" "$cause"
  grep -Eq "/dev/$5 .*$3  *$4 test  *hddtest  *aborted: $cause" history || wrong "no $4 test of $3 in the history"
}

check() {
  expect_in long 1 '/dev/sda: long test started, '
  expect_in running 1 'LAB0001  long test running, 60% remaining'
  expect_in before 2 '"outcome":null'
  expect_in before 1 '"remaining_percent":60'
  expect_status 2
  expect_interrupted 0 sda LAB0002 short sdb
  expect_interrupted 1 sdb LAB0001 long sda
}
