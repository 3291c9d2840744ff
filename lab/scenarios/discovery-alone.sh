# A machine without a drive, then with one drive at a time, each on another controller. Drives behind
# SCSI host adapters are left out by their address, virtio and NVMe drives have none.
real_time
drive piix LAB0008
drive ahci LAB0009
drive megasas LAB0001
drive mptsas LAB0002
drive virtio-scsi LAB0003
drive uas LAB0004
drive usb-storage LAB0005
drive virtio-blk LAB0006
drive nvme LAB0007
drivers=() # the guest loads and unloads them

guest() {
  offered none
  for driver in ata_piix ahci megaraid_sas mptsas virtio_scsi uas usb-storage virtio_blk nvme; do
    # uas needs usb-storage, which would bring its own drive after a second.
    if [ $driver = uas ]; then modprobe usb-storage quirks=46f4:0001:i; fi
    load xhci-pci,virtio_pci,$driver 1
    offered $driver
    modprobe -r $driver
    await 0
  done
}

check() {
  expect_drives --run none
  expect_drives --run ata_piix sda=testable
  expect_drives --run ahci sda=testable
  expect_drives --run megaraid_sas sda=raid
  expect_drives --run mptsas sda=raid
  expect_drives --run virtio_scsi sda=raid
  expect_drives --run uas sda=raid
  expect_drives --run usb-storage sda=usb
  expect_drives --run virtio_blk vda=testable
  expect_drives --run nvme nvme0n1=testable
}
