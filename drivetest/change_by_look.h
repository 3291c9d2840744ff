// What a look at a drive changes in the history. Pure functions: where others have changed the
// history meanwhile, they are asked anew.
#pragma once

#include "drivetest/drive_change.h"
#include "drivetest/look.h"
#include "drivetest/progress.h"
#include "drivetest/test_row.h"

namespace drivetest {

struct ChangeByLook {
  DriveChange change;
  bool look_again = false;  // another look, some seconds later, has to tell the rest
};

// Nobody has changed `state` since the look began, and the look has no fault.
ChangeByLook change_by_look(const DriveState& state, const Look& look, Time now,
                            const Circumstances& circumstances);

// What is known of the drive after a change.
void apply(DriveState& state, const DriveChange& change);

}  // namespace drivetest
