#pragma once

#include "model/KAVRO_HDDTest_JobSettingData.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the class of job settings, which a run accepts and ignores; no instance is ever
// delivered.
struct KAVRO_HDDTest_JobSettingData_Provider : InertInstances<KAVRO_HDDTest_JobSettingData> {};

}  // namespace ovk_cimple
