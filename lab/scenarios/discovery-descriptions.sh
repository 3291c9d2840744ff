# What onboard and USB drives are called decides too. A logical volume leaves out every drive; when
# it is gone, each drive is decided on by its own name. An onboard drive called as the maker's RAID
# family can be tested, since hwinfo does not give its generic device, by which it would be known.
real_time
drive piix LAB0001
drive ahci LAB0002 '' 'model=PQI Disk'
drive ahci LAB0003 '' 'model=Vellacore Disk'
drive ahci LAB0004 '' 'model=Logical Volume'
drive usb-storage LAB0005 '' 'product=Vellacore Disk'

guest() {
  offered volume
  echo 1 > /sys/block/sdd/device/delete
  offered others
}

check() {
  expect_drives --run volume sda=raid sdb=raid sdc=raid sdd=raid sde=raid
  expect_drives --run others sda=testable sdb=micro-flash sdc=testable sde=lsi
}
