#pragma once

#include "model/classes.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// The association of jobs and the elements that they affect. Kept without registration, dispatch
// routine or entry point, and without associators: no client can reach it. The module is named
// after it all the same.
struct KAVRO_HDDTest_AffectedJobElement_Provider
    : Inert_Instances<KAVRO_HDDTest_AffectedJobElement>,
      Inert_References<KAVRO_HDDTest_AffectedJobElement> {};

}  // namespace ovk_cimple
