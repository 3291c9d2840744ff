/* The two files between a test and its stand-in smartctl, both in the stand-in's own folder. */
#ifndef TESTS_SCRIPTED_SCRIPT_H
#define TESTS_SCRIPTED_SCRIPT_H

#include <stdint.h>

/* "script": one of these for each call that is to come, in order, then the bytes that they
 * refer to. Arguments are NUL-terminated one after the other, without the program's name. */
struct ScriptStep {
  uint64_t arguments_at, arguments_size;
  uint64_t output_at, output_size;
  int32_t takes_milliseconds; /* before it prints */
  int32_t exit_status;
  int32_t killed_by; /* a signal that it sends itself after printing; 0: none */
  int32_t hangs;     /* it goes on for a minute after printing */
};

/* "calls": this head, written by the test, then one call after the other: the size of its
 * arguments (uint64_t) and the arguments as above. Readers and writers hold flock on it. */
struct CallsHead {
  uint64_t steps; /* in the script */
  uint64_t made;  /* calls so far */
};

/* The exit status of a call that the script does not have next. */
#define NOT_IN_THE_SCRIPT 99

#endif
