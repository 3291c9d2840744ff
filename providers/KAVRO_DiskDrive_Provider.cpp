#include "providers/KAVRO_DiskDrive_Provider.h"

#include "platform/framework/module_unit.h"
