#include "providers/KAVRO_HDDTest_DiagnosticServiceRecord_Provider.h"

#include "platform/framework/module_unit.h"
