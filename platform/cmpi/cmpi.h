// The Common Manageability Programming Interface (CMPI), version 2.1: the binary interface between
// an object manager (the broker) and its providers, as seen on 64-bit Linux.
//
// Names are those of the standard. Everything is plain data and C function pointers.
#pragma once

#include "platform/cmpi/cmpi_broker.h"
#include "platform/cmpi/cmpi_codes.h"
#include "platform/cmpi/cmpi_interfaces.h"
#include "platform/cmpi/cmpi_objects.h"
#include "platform/cmpi/cmpi_query.h"
#include "platform/cmpi/cmpi_types.h"
