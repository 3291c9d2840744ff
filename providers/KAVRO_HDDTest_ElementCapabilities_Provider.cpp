#include "providers/KAVRO_HDDTest_ElementCapabilities_Provider.h"

#include "platform/framework/module_unit.h"
