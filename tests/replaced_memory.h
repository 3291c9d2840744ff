// Memory for a test program in which it may run out: all forms of new and delete call one function.
// For one unit of a program only, which defines that function.
#pragma once

#include <cstdlib>
#include <new>

// What new returns: from malloc, or nullptr where there is to be no memory.
static void* allocate(std::size_t size);

// All forms are replaced, since the address sanitizer has its own for those that are missing, and
// memory from one set must not be freed by the other. They are not inlined, or the compiler warns
// of pairs that do not match.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* const block = allocate(size)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
  return operator new(size, nothrow);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { operator delete(block); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { operator delete(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { operator delete(block); }
