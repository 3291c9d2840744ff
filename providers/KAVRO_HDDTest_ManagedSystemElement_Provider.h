#pragma once

#include "model/KAVRO_HDDTest_ManagedSystemElement.h"
#include "platform/framework/inert.h"

namespace ovk_cimple {

// Publishes the class of managed elements; no instance is ever delivered.
struct KAVRO_HDDTest_ManagedSystemElement_Provider
    : InertInstances<KAVRO_HDDTest_ManagedSystemElement> {};

}  // namespace ovk_cimple
