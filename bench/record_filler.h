// Records without runs: what a test program adds to the engine of the module that it has loaded.
#pragma once

// Adds so many records of passed tests. Exported by libbench_records.so, which is the module with
// this function added, and by libbench_plain.so.
extern "C" void add_records(unsigned long number);

namespace bench {

// What a record of a passed test holds.
inline constexpr char kRecordData[] =
    "HDST-000: The drive completed its short self-test and reported no error.\n"
    "1. No action is needed. Keep regular backups: a passed short test does not rule out a fault "
    "that only a full scan of the surface would find.\n";
inline constexpr char kServiceName[] = "Hard Drive: Self Test";
inline constexpr char kDevice[] = "/dev/sda";
inline constexpr char kJob[] = "HDDTest_ConcreteJob";  // a number follows

}  // namespace bench
