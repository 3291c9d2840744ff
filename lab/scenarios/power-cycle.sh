# The machine loses power while both drives test themselves, one of them since a moment ago, and comes
# back with the drives under each other's names. The history knows both tests, and says of each, for
# the drive that it was, what became of it.
drive piix LAB0001 3600:passed
drive ahci LAB0002 3600:passed
lasting_disk

guest() {
  hddtest start --test long /dev/sda > /tmp/long
  sleep 1200
  hddtest status /dev/sda > /tmp/running
  keep_results
  hddtest start /dev/sdb > /dev/null && power_cycle
}

guest_again() {
  hddtest history --json > /tmp/before # nobody has looked since
  hddtest status /dev/sda /dev/sdb > /tmp/table
  hddtest status --json /dev/sda /dev/sdb
  local status=$?
  hddtest history --json /dev/sda > /tmp/history.sda
  hddtest history --json /dev/sdb > /tmp/history.sdb
  return $status
}

# expect_interrupted NUMBER NAME SERIAL KIND NAME-BEFORE
expect_interrupted() {
  local cause='interrupted by a reset or a loss of power' place
  expect_in table 1 "/dev/$2  LAB DISK $3  $3  $4 test aborted just now: $cause"
  expect "$1.device" "/dev/$2"
  expect "$1.serial" "$3"
  expect "$1.running" None
  for place in "output $1.last." "history.$2 "; do
    expect --in "${place% *}" "${place#* }kind" "$4"
    expect --in "${place% *}" "${place#* }device" "/dev/$5"
    expect --in "${place% *}" "${place#* }drive.serial_number" "$3"
    expect --in "${place% *}" "${place#* }source" hddtest
    expect --in "${place% *}" "${place#* }outcome" aborted
    expect --in "${place% *}" "${place#* }cause" "$cause"
  done
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
