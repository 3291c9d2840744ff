#include "providers/KAVRO_HDDTest_RecordAppliesToElement_Provider.h"

#include "platform/framework/module_unit.h"
