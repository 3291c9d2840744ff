# A WBEM client that others wrote asks the server: which drives there are, which can be tested, a
# test of each by the service that the drive is associated with, jobs and records.
real_time
drive piix LAB0001 12:passed
drive ahci LAB0002 7:read-failure:12345
drive megasas LAB0003
with_client

guest() {
  ip link set lo up
  hddtest serve --no-auth > /tmp/server 2>&1 &
  until grep -q Listening /tmp/server; do sleep 0.2; done
  cim=http://127.0.0.1:5988/root/cimv2
  ask() { name=$1; shift; wbemcli "$@" > /tmp/$name 2>&1; }
  ask drives ein $cim:KAVRO_DiskDrive
  for device in sda sdb sdc; do
    drive=$(sed -n "/dev.$device\"/s|.*cimv2:||p" /tmp/drives)
    ask services.$device ain -ac KAVRO_HDDTest_AvailableDiagnosticService "$cim:$drive"
    service=$(sed -n 's|.*cimv2:||p' /tmp/services.$device)
    if [ -n "$service" ]; then
      tested_by=$service
      ask test.$device cm "$cim:$service" "RunDiagnostic.ManagedElement=$drive"
    fi
  done
  ask back ain -ac KAVRO_HDDTest_AvailableDiagnosticService "$cim:$tested_by"
  ask jobs ein $cim:KAVRO_HDDTest_ConcreteJob
  ask records ei -nl $cim:KAVRO_HDDTest_DiagnosticCompletionRecord ManagedElementName,CompletionState
  kill $!
  wait
}

check() {
  expect_in drives 3 KAVRO_DiskDrive
  for device in sda sdb; do
    expect_in services.$device 1 'Name="Hard Drive: Self Test"'
    expect_in test.$device 1 'RunDiagnostic: 0, Job (reference): root/cimv2:KAVRO_HDDTest_ConcreteJob'
  done
  expect_in services.sdc 0 KAVRO
  expect_in back 1 '/dev/sda'
  expect_in back 1 '/dev/sdb'
  expect_in back 2 KAVRO_DiskDrive
  expect_in jobs 1 HDDTest_ConcreteJob002  # that of the latest run
  expect_in records 1 '-ManagedElementName="/dev/sda"'
  expect_in records 1 '-CompletionState=2'
  expect_in records 1 '-ManagedElementName="/dev/sdb"'
  expect_in records 1 '-CompletionState=5'
}
