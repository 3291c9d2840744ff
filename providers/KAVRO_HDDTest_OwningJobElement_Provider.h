#pragma once

#include "model/KAVRO_HDDTest_OwningJobElement.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of jobs and their owners; no instance is ever delivered.
struct KAVRO_HDDTest_OwningJobElement_Provider : InertAssociation<KAVRO_HDDTest_OwningJobElement> {
};

}  // namespace ovk_cimple
