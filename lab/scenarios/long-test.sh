# A long test is started and left alone, beside drives that cannot be tested, each with its reason.
# The drive refuses to end its test, which is said, and goes on to its end.
drive piix LAB0001 600:passed
drive megasas LAB0002
drive usb-storage LAB0003
drive nvme LAB0004
with_nvme

guest() {
  hddtest start --test long > /tmp/start 2> /tmp/start.errors
  echo $? > /tmp/start.status
  sleep 230
  hddtest status /dev/sda > /tmp/halfway
  hddtest stop --json /dev/sda > /tmp/stop 2> /tmp/stop.errors
  echo $? > /tmp/stop.status
  sleep 450
  hddtest status --json
  local status=$?
  hddtest history --json > /tmp/history
  return $status
}

# expect_untested NUMBER DEVICE FIELD REASON: of the drives that cannot be tested
expect_untested() {
  expect "$1.device" "$2"
  expect "$1.$3" "$4"
  for kind in short long conveyance; do expect "$1.tests.$kind.able" False; done
  expect "$1.running" None
  expect "$1.last" None
}

check() {
  local no_log='the drive keeps no log of self-tests, so nobody would learn the result'
  local no_test='the drive says that it has no self-test'
  local bridge='/dev/sdc: Unknown USB bridge [0x46f4:0x0001 (0x000)]; a --type may reach it, such as sat'
  local refusal='Command "Abort SMART off-line mode self-test routine" failed: scsi error aborted command'
  expect_in start 1 "/dev/sda: long test started, takes 54 minutes or more by the drive's word"
  expect_in start 1 "/dev/nvme0: cannot be tested: $no_test"
  expect_in start 1 ": cannot be tested: $no_log"
  expect_in start.errors 1 "/dev/sdc: not started: $bridge"
  expect_in start.status 1 3
  expect_in halfway 1 'LAB0001  long test running, 60% remaining'

  expect_in stop.status 1 3
  expect --in stop 0.result not-stopped
  expect --in stop 0.reason "$refusal"
  expect --in stop 0.test.remaining_percent 60
  expect_in stop.errors 0 hddtest

  expect_status 3
  expect 0.serial LAB0001
  expect 0.running None
  expect 0.last.outcome passed
  expect 0.reason None
  # The disk behind the RAID controller and its volume, /dev/sdb, are one drive.
  expect_in output 4 '"name": '
  expect_untested 1 '/dev/bus/*' inability "$no_log"
  expect 1.type megaraid,0
  expect 1.serial LAB0002
  expect_untested 2 /dev/sdc reason "*Unknown USB bridge *; a --type may reach it, such as sat"
  expect_untested 3 /dev/nvme0 inability "$no_test"
  expect --in history number 1 # and no second test
  expect --in history kind long
  expect --in history source hddtest
  expect --in history outcome passed
  expect --in history cause 'completed without error'
}
