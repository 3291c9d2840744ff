#include "providers/KAVRO_HDDTest_DiagnosticSettingRecord_Provider.h"

#include "platform/framework/module_unit.h"
