#include "providers/KAVRO_HDDTest_DiagnosticsLog_Provider.h"

#include "platform/framework/module_unit.h"
