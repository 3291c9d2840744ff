#include "providers/KAVRO_HDDTest_ElementSoftwareIdentity_Provider.h"

#include "platform/framework/module_unit.h"
