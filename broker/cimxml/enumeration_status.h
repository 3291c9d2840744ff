// Status codes of DSP0200 that only the operations on open enumerations know.
#pragma once

#include "broker/error.h"

namespace broker::cimxml {

inline constexpr Status kInvalidEnumerationContext{21};
inline constexpr Status kInvalidOperationTimeout{22};
inline constexpr Status kFilteredEnumerationNotSupported{25};
inline constexpr Status kContinuationOnErrorNotSupported{26};

}  // namespace broker::cimxml
