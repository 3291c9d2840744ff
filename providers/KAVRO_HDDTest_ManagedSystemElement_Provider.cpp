#include "providers/KAVRO_HDDTest_ManagedSystemElement_Provider.h"

#include "platform/framework/module_unit.h"
