#pragma once

#include "model/KAVRO_HDDTest_LogManagesRecord.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of logs and records; no instance is ever delivered.
struct KAVRO_HDDTest_LogManagesRecord_Provider : InertAssociation<KAVRO_HDDTest_LogManagesRecord> {
};

}  // namespace ovk_cimple
