#pragma once

#include "model/KAVRO_HDDTest_ServiceAvailableToElement.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the association of services and elements. Which drives the self-test is offered for
// stands in KAVRO_HDDTest_AvailableDiagnosticService.
struct KAVRO_HDDTest_ServiceAvailableToElement_Provider
    : InertAssociation<KAVRO_HDDTest_ServiceAvailableToElement> {};

}  // namespace ovk_cimple
