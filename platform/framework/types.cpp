#include "platform/framework/types.h"

namespace ovk_cimple {

namespace {
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }
}  // namespace

bool same_name(const char* left, const char* right) {
  if (!left || !right) return left == right;
  while (*left && lower(*left) == lower(*right)) ++left, ++right;
  return lower(*left) == lower(*right);
}

}  // namespace ovk_cimple
