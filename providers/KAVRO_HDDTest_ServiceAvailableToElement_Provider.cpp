#include "providers/KAVRO_HDDTest_ServiceAvailableToElement_Provider.h"

#include "platform/framework/module_unit.h"
