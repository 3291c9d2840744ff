#include "platform/framework/types.h"

#include "platform/words.h"

namespace ovk_cimple {

bool same_name(const char* left, const char* right) {
  if (!left || !right) return left == right;
  return platform::same_name(left, right);
}

}  // namespace ovk_cimple
