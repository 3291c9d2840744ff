#!/usr/bin/perl
# Runs an emulator and plays the lives of its drives.
#
#   machine.pl [SERIAL=LIFE...] -- PROGRAM ARGUMENTS...    ends with the emulator's exit status
#   machine.pl --permitted                                 whether this machine lets us play lives
#
# LIFE is SECONDS:OUTCOME[:BLOCK]: each self-test takes so many seconds of the guest's time and ends
# so, with the first unreadable block; or it is smart-off. A reset of the machine interrupts a test
# that runs.
#
# The emulated drives know SMART, but end every self-test at once and without error. Real ones take
# their time, so this program rewrites their self-test logs in the emulator's memory while the guest
# stands still: the guest stops itself before each smartctl (see guest/smartctl), a drive is brought
# up to date with the guest's clock, and the guest goes on. The emulator is our own child, which
# makes its memory ours to write where only parents may (Yama); no other process is touched.
use strict;
use warnings;
no warnings 'portable';    # addresses have 64 bits
use Fcntl;
use Socket;

my %outcomes = ( passed => 0x00, aborted => 0x10, interrupted => 0x25, 'read-failure' => 0x77 );
my ( $memory, $monitor, %drives );

sub peek {
    my ( $address, $length ) = @_;
    my $read = sysseek( $memory, $address, 0 ) && sysread( $memory, my $bytes, $length );
    return defined $read && $read == $length ? $bytes : '';
}

sub poke {
    my ( $address, $bytes ) = @_;
    sysseek( $memory, $address, 0 ) && syswrite( $memory, $bytes ) == length $bytes or die "memory: $!\n";
}

sub open_memory {
    my ($process) = @_;
    return sysopen( $memory, "/proc/$process/mem", O_RDWR );
}

# Private writable areas of the process as [address, bytes]; the guest's own memory is larger.
sub heap {
    my ($process) = @_;
    open( my $maps, '<', "/proc/$process/maps" ) or die "maps: $!\n";
    my @areas;
    while (<$maps>) {
        /^(\w+)-(\w+) rw-p \S+ \S+ 0\s/ or next;
        my ( $start, $end ) = ( hex $1, hex $2 );
        push @areas, [ $start, peek( $start, $end - $start ) ] if $end - $start < 64 << 20;
    }
    return @areas;
}

# QEMU keeps, for each drive and in this order: the data that it identifies itself with (the serial
# number at byte 20, its letters swapped in pairs), the serial number as text, the count of logged
# tests and, eight bytes on, the address of the log (512 bytes, entries of 24 from byte 2). The guest
# has made one test on every drive before its first stop, so the log is known by its content.
sub find_drive {
    my ( $serial, @areas ) = @_;
    my $swapped = join '', map { scalar reverse } sprintf( '%-20s', $serial ) =~ /../g;
    my %found;
    for my $area (@areas) {
        my ( $start, $bytes ) = @$area;
        while ( $bytes =~ /\Q$serial\E\0/g ) {
            my $from = $-[0] + 7 & ~7;
            for my $offset ( map { $from + 8 * $_ } 0 .. 127 ) {
                my $log = unpack 'Q<', substr( $bytes, $offset, 8 ) . "\0" x 8;
                next if $log == 0 || $log % 512 || peek( $log, 512 ) !~ /^\0\0\x01\0\x34\x12\0{506}$/;
                my $identity = rindex( $bytes, $swapped, $from ) - 20;
                next if $identity < 0 || $offset - $identity > 4096;
                $found{$log} = { log => $log, count => $start + $offset - 8, identity => $start + $identity };
            }
        }
    }
    my ($drive) = values %found;
    die "drive $serial not found in the emulator's memory; QEMU 7.2 and 10.0 lay it out as is known here\n"
      unless keys %found == 1 && unpack( 'C', peek( $drive->{count}, 1 ) ) == 1;
    return $drive;
}

# A new drive has logged nothing.
sub begin_life {
    my ($drive) = @_;
    poke( $drive->{log},   "\0" x 512 );
    poke( $drive->{count}, "\0" );
    if ( $drive->{life} eq 'smart-off' ) {
        my $enabled = $drive->{identity} + 2 * 85;    # bit 0: SMART enabled
        poke( $enabled, chr( ord( peek( $enabled, 1 ) ) & ~1 ) );
    }
}

sub live {
    my ( $drive, $now, $is_reset ) = @_;
    my ( $seconds, $outcome, $block ) = split /:/, $drive->{life};
    my $count = ord peek( $drive->{count}, 1 );
    return if !$count || $count == ( $drive->{interrupted} // 0 );
    if ( $count != ( $drive->{seen} // 0 ) ) {
        @$drive{qw(seen started)} = ( $count, $now );
    }
    my $entry  = $drive->{log} + 2 + 24 * ( $count - 1 );
    my $tenths = 9 - int( 9 * ( $now - $drive->{started} ) / $seconds );    # not yet tested
    if ( $tenths > 0 && $is_reset ) {
        poke( $entry + 1, chr( 0x20 | $tenths ) );
        $drive->{interrupted} = $count;
    }
    elsif ( $tenths > 0 ) {
        poke( $entry + 1, chr( 0xf0 | $tenths ) );
    }
    else {
        poke( $entry + 1, chr $outcomes{$outcome} );
        poke( $entry + 5, pack 'V', $block ) if $block;
    }
}

sub command {
    my ($text) = @_;
    syswrite $monitor, "$text\n";
    while (<$monitor>) {
        return $_ if /^\{"(return|error)"/;
    }
    return '';
}

sub guest_seconds {
    my $answer = command('{"execute": "qom-get", "arguments": {"path": "/machine", "property": "rtc-time"}}');
    my %time   = $answer =~ /"tm_(\w+)": (\d+)/g;
    return ( ( $time{mday} * 24 + $time{hour} ) * 60 + $time{min} ) * 60 + $time{sec};
}

sub start {
    my @program = @_;
    socketpair( $monitor, my $theirs, AF_UNIX, SOCK_STREAM, PF_UNSPEC ) or die "socketpair: $!\n";
    my $process = fork // die "fork: $!\n";
    if ( !$process ) {
        fcntl( $theirs, F_SETFD, 0 );
        exec @program, '-chardev', 'socket,id=monitor,fd=' . fileno $theirs, '-mon', 'chardev=monitor,mode=control';
        die "$program[0]: $!\n";
    }
    return $process;
}

# Brings all drives up to date with the guest's clock.
sub live_all {
    my ($is_reset) = @_;
    my $now = guest_seconds();
    live( $_, $now, $is_reset ) for grep { $_->{life} ne 'smart-off' } values %drives;
}

sub run {
    my ($process) = @_;
    command('{"execute": "qmp_capabilities"}');
    while (<$monitor>) {
        live_all(1) if $memory && /"event": "RESET"/;
        next unless /"event": "STOP"/;
        if ( !$memory && %drives ) {
            open_memory($process) or die "the emulator's memory cannot be opened: $!\n";
            my @areas = heap($process);
            for my $serial ( keys %drives ) {
                $drives{$serial} = { life => $drives{$serial}, %{ find_drive( $serial, @areas ) } };
                begin_life( $drives{$serial} );
            }
        }
        live_all(0);
        command('{"execute": "cont"}');
    }
}

if ( "@ARGV" eq '--permitted' ) {
    my $child = open( my $pipe, '-|' ) // die "fork: $!\n";
    if ( !$child ) { sleep 60; exit }
    my $permitted = open_memory($child) && grep { length $_->[1] } heap($child);
    kill KILL => $child;
    exit !$permitted;
}

while ( ( my $argument = shift // die "usage: machine.pl [SERIAL=LIFE...] -- PROGRAM...\n" ) ne '--' ) {
    my ( $serial, $life ) = $argument =~ /^(\w+)=(smart-off|[1-9]\d*:([\w-]+)(?::\d+)?)$/ or die "$argument: what life?\n";
    die "$argument: what outcome?\n" if $3 && !exists $outcomes{$3};
    $drives{$serial} = $life;
}
my $emulator = start(@ARGV);
$SIG{TERM} = $SIG{INT} = sub { kill KILL => $emulator; exit 1 };
if ( !eval { run($emulator); 1 } ) {
    print STDERR "lab: $@";
    kill KILL => $emulator;
}
waitpid $emulator, 0;
exit( $? >> 8 || $? != 0 );
