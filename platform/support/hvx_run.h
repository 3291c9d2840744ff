/* What the process runner and its helper program hvx-run say to each other.
 *
 * Command line:  hvx-run SECONDS PROGRAM NAME [ARGUMENT...]
 * runs the file PROGRAM with the argument vector NAME ARGUMENT... in a process group of its own.
 *
 * Descriptors at start: 0 and 2 are /dev/null; 1 is the pipe that takes the program's output;
 * 3 is the pipe that takes one report. All others are closed by hvx-run. When nobody reads the
 * output pipe any more, because the runner has had enough or its process has died, the program
 * is killed as after SECONDS.
 *
 * By the time of the report the process group is gone: killed, if anything of it was left when
 * the program itself had ended.
 */
#ifndef PLATFORM_SUPPORT_HVX_RUN_H
#define PLATFORM_SUPPORT_HVX_RUN_H

#include <stdint.h>

enum { HVX_REPORT_DESCRIPTOR = 3 };

enum hvx_outcome {
  HVX_EXITED = 1,      /* value: exit code */
  HVX_SIGNALLED = 2,   /* value: signal number */
  HVX_STOPPED = 3,     /* time-out, or nobody reads the output; value: 0 */
  HVX_NOT_STARTED = 4, /* value: error number */
};

struct hvx_report {
  int32_t outcome;
  int32_t value;
};

#endif
