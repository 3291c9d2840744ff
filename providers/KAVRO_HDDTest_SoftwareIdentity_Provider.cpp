#include "providers/KAVRO_HDDTest_SoftwareIdentity_Provider.h"

#include "platform/framework/module_unit.h"
