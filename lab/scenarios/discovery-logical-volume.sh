# Beside a host adapter, a drive whose address comes before that of a logical volume can be tested,
# and one whose address comes after it cannot. Without the volume, both can. Other names that mean
# something leave out no drive but their own.
real_time
drive piix LAB0001
drive virtio-scsi LAB0002 '' 'scsi-id=0,product=Logical Volume'
drive virtio-scsi LAB0003 '' 'scsi-id=1,product=Vellacore PQI'
drive ahci LAB0004

guest() {
  offered volume
  echo 1 > /sys/block/sdb/device/delete
  offered others
}

check() {
  expect_drives --run volume sda=testable sdb=raid sdc=raid sdd=raid
  expect_drives --run others sda=testable sdc=raid sdd=testable
}
