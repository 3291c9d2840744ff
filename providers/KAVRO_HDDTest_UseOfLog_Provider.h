#pragma once

#include "model/KAVRO_HDDTest_UseOfLog.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of logs and what they record; no instance is ever delivered.
struct KAVRO_HDDTest_UseOfLog_Provider : InertAssociation<KAVRO_HDDTest_UseOfLog> {};

}  // namespace ovk_cimple
