#include "providers/KAVRO_HDDTest_UseOfLog_Provider.h"

#include "platform/framework/module_unit.h"
