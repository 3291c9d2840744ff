#include "providers/KAVRO_HDDTest_DiagnosticSetting_Provider.h"

#include "platform/framework/module_unit.h"
