#include "providers/KAVRO_HDDTest_OwningJobElement_Provider.h"

#include "platform/framework/module_unit.h"
