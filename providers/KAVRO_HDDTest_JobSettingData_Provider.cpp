#include "providers/KAVRO_HDDTest_JobSettingData_Provider.h"

#include "platform/framework/module_unit.h"
