#include "providers/KAVRO_HDDTest_AffectedJobElement_Provider.h"

#include "platform/framework/module_unit.h"
