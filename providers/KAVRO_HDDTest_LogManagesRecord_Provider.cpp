#include "providers/KAVRO_HDDTest_LogManagesRecord_Provider.h"

#include "platform/framework/module_unit.h"
