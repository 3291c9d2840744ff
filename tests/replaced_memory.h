// The memory of a test program in which it may run out: new and delete in all their forms over one
// function. For one unit of a program only, which defines that function.
#pragma once

#include <cstdlib>
#include <new>

// What new gives: from malloc, or nullptr where there is to be no memory.
static void* allocate(std::size_t size);

// All forms, since the address sanitizer has those of its own that are left out, and what one of
// them gave the others may not take. Not inlined, or the compiler takes a pair for one that does
// not match.
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
