#include "providers/KAVRO_HDDTest_CorrespondingSettingsRecord_Provider.h"

#include "platform/framework/module_unit.h"
