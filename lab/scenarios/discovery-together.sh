# All kinds of drives on one machine: each is decided on as if it were alone. The machine's type,
# given without brackets, is a common one. AHCI stands aside (see discovery-onboard): its controller
# takes six host numbers, and those of the others would have two digits.
real_time
machine EX01AC1
drive piix LAB0001
drive megasas LAB0002
drive mptsas LAB0003
drive virtio-scsi LAB0004
drive uas LAB0005
drive usb-storage LAB0006
drive virtio-blk LAB0007
drive nvme LAB0008

guest() { offered; }

check() {
  expect_drives sda=testable sdb=raid sdc=raid sdd=raid sde=raid sdf=usb vda=testable nvme0n1=testable
  expect_log 'MT  =EX01'
}
