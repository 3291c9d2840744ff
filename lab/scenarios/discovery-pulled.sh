# Drives are pulled while discovery decides: before hwinfo lists the disks, in the meantime, and
# after that. Only a drive that was listed is offered. No other drive is mistaken for it.
real_time
drive ahci LAB0001
drive ahci LAB0002
drive ahci LAB0003
drive ahci LAB0004

guest() {
  mv /usr/sbin/hwinfo /usr/sbin/hwinfo-itself
  cat > /usr/sbin/hwinfo << 'SCRIPT'
#!/bin/sh
pull() { echo 1 > /sys/block/$1/device/delete; }
case "$(cat /tmp/moment) $1" in
  before*--disk) pull sda; exec hwinfo-itself "$@" ;;
  meanwhile*--disk) hwinfo-itself "$@" & pull sdb; wait ;;
  after*--disk) hwinfo-itself "$@"; pull sdc ;;
  *) exec hwinfo-itself "$@" ;;
esac
SCRIPT
  chmod +x /usr/sbin/hwinfo
  for moment in before meanwhile after; do
    echo $moment > /tmp/moment
    offered $moment
  done
}

check() {
  expect_drives --run before sda=no-disk sdb=testable sdc=testable sdd=testable
  expect_drives --run after sdc=testable sdd=testable
  # hwinfo may or may not have seen the drive, but the answer must agree with the log.
  local sdb=no-disk
  if grep -qF 'Initializing HDD instance for /dev/sdb' meanwhile.log; then sdb=testable; fi
  expect_drives --run meanwhile sdb=$sdb sdc=testable sdd=testable
}
