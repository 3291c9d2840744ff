#include "providers/KAVRO_HDDTest_DiagnosticServiceCapabilities_Provider.h"

#include "platform/framework/module_unit.h"
