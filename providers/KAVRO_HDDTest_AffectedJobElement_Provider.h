#pragma once

#include "model/KAVRO_HDDTest_AffectedJobElement.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// The association of jobs and the elements that they affect. Kept on purpose, though no client can
// reach it: it has no registration, no dispatch routine, no entry point and no associators. The
// module is named after it.
struct KAVRO_HDDTest_AffectedJobElement_Provider
    : InertInstances<KAVRO_HDDTest_AffectedJobElement>,
      InertReferences<KAVRO_HDDTest_AffectedJobElement> {};

}  // namespace ovk_cimple
