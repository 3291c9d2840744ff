#include "providers/KAVRO_HDDTest_ElementSetting_Provider.h"

#include "platform/framework/module_unit.h"
