# A WBEM client that others wrote asks the server: which drives there are, which can be tested, a
# test of each by the service that the drive is associated with, jobs and records; and what else a
# client asks: instances, associations, classes, with a password over TLS.
real_time
drive piix LAB0001 12:passed
drive ahci LAB0002 7:read-failure:12345
drive megasas LAB0003
with_client

# A file for the answer, how many of its lines hold the text, what is asked about, and how.
available=KAVRO_HDDTest_AvailableDiagnosticService
to_service="-arc KAVRO_HDDTest_DiagnosticService"
roles="-ar UserOfService -arr ServiceProvided"
questions="by_role 2 KAVRO_DiskDrive service ain -ar ServiceProvided -arc KAVRO_DiskDrive
by_other_role 0 KAVRO service ain -ar UserOfService -arc KAVRO_DiskDrive
by_result_role 2 KAVRO_DiskDrive service ain -arr UserOfService
by_other_result_role 0 KAVRO service ain -arr ServiceProvided
all_filters 1 DiagnosticService drive ain -ac $available $to_service $roles
other_association 0 KAVRO drive ain -ac KAVRO_HDDTest_ServiceAvailableToElement $to_service $roles
other_class 0 KAVRO drive ain -ac $available -arc KAVRO_DiskDrive $roles
other_role 0 KAVRO drive ain -ac $available $to_service -ar ServiceProvided -arr ServiceProvided
other_result_role 0 KAVRO drive ain -ac $available $to_service -ar UserOfService -arr UserOfService
associated 1 ElementName= drive ai -ac $available $to_service $roles
references 2 $available service rin -arc $available
reference_instances 2 EstimatedDurationOfService service ri -arc $available
class 1 RunDiagnostic KAVRO_HDDTest_DiagnosticService gcd
classes 1 ElementName= CIM_DiagnosticService ec
class_names 1 :KAVRO_HDDTest_DiagnosticService CIM_DiagnosticService ecn"

pack() {
  echo "$questions" > "$1/lab/questions"
  command -v openssl > /dev/null || return 0
  local which
  for which in server other; do
    ( umask 077 && openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=127.0.0.1 \
      -addext subjectAltName=IP:127.0.0.1 -keyout "$1/lab/$which.key" -out "$1/lab/$which.pem" ) 2> /dev/null
  done
}

guest() {
  ip link set lo up
  serve() {
    rm -f /tmp/server # an earlier one has said the same
    hddtest serve "$@" > /tmp/server 2>&1 &
    until grep -qs Listening /tmp/server; do sleep 0.2; done
  }
  serve --no-auth
  cim=http://127.0.0.1:5988/root/cimv2
  ask() { name=$1; shift; wbemcli "$@" > /tmp/$name 2>&1; }
  ask drives ein $cim:KAVRO_DiskDrive
  for device in sda sdb sdc; do
    drive=$(sed -n "/dev.$device\"/s|.*cimv2:||p" /tmp/drives)
    ask services.$device ain -ac KAVRO_HDDTest_AvailableDiagnosticService "$cim:$drive"
    service=$(sed -n 's|.*cimv2:||p' /tmp/services.$device)
    if [ -n "$service" ]; then
      tested_by=$service tested=$drive
      ask test.$device cm "$cim:$service" "RunDiagnostic.ManagedElement=$drive"
    fi
  done
  ask back ain -ac KAVRO_HDDTest_AvailableDiagnosticService "$cim:$tested_by"
  ask jobs ein $cim:KAVRO_HDDTest_ConcreteJob
  ask records ei -nl $cim:KAVRO_HDDTest_DiagnosticCompletionRecord ManagedElementName,CompletionState

  ask instance gi "$cim:$tested_by" Name,CreationClassName
  while read -r question _ _ object how; do
    case $object in service) object=$tested_by ;; drive) object=$tested ;; esac
    ask $question $how "$cim:$object" < /dev/null
  done < /lab/questions
  kill $!
  wait

  echo secret | hddtest passwd /tmp/users operator
  serve --users /tmp/users
  at=127.0.0.1:5988/root/cimv2:KAVRO_HDDTest_DiagnosticService
  ask logged_in ein http://operator:secret@$at
  ask wrong_password ein http://operator:wrong@$at
  ask no_password ein http://$at
  kill $!
  wait

  if [ -e /lab/server.pem ]; then
    date -s "@$(($(stat -c %Y /lab/other.pem) + 60))" > /dev/null # when the certificates are valid
    serve --users /tmp/users --cert /lab/server.pem --key /lab/server.key
    at=127.0.0.1:5989/root/cimv2:KAVRO_HDDTest_DiagnosticService
    ask tls ein -cacert /lab/server.pem https://operator:secret@$at
    ask tls_of_another ein -cacert /lab/other.pem https://operator:secret@$at
    ask tls_unverified ein -noverify https://operator:secret@$at
    kill $!
    wait
  fi
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

  expect_in instance 1 'Name="Hard Drive: Self Test"'
  while read -r question count text _; do
    expect_in "$question" "$count" "$text"
    expect_in "$question" 0 Exception
    expect_in "$question" 0 CIM_ERR
  done <<< "$questions"

  expect_in logged_in 1 'Name="Hard Drive: Self Test"'
  for refused in wrong_password no_password; do
    expect_in $refused 0 KAVRO
    expect_in $refused 1 Exception
  done
  command -v openssl > /dev/null || { echo "skipped $name: with TLS, since openssl is not installed"; exit 77; }
  expect_in tls 1 'Name="Hard Drive: Self Test"'
  expect_in tls_unverified 1 'Name="Hard Drive: Self Test"'
  expect_in tls_of_another 0 KAVRO
  expect_in tls_of_another 1 Exception
}
