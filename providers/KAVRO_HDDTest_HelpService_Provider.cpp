#include "providers/KAVRO_HDDTest_HelpService_Provider.h"

#include "platform/framework/module_unit.h"
