/* System calls of Linux on x86-64 for a program without the C library, and how such a program
 * begins. Results are the kernel's: a negative error number, or what the call gives.
 */
#ifndef PLATFORM_SUPPORT_SYSTEM_CALL_H
#define PLATFORM_SUPPORT_SYSTEM_CALL_H

#include <stdint.h>
#include <sys/syscall.h>

#if !defined(__x86_64__) || !defined(__linux__)
#error "written for Linux on x86-64"
#endif

static inline long system_call(long number, long a, long b, long c, long d, long e) {
  register long fourth __asm__("r10") = d;
  register long fifth __asm__("r8") = e;
  __asm__ volatile("syscall"
                   : "+a"(number)
                   : "D"(a), "S"(b), "d"(c), "r"(fourth), "r"(fifth)
                   : "rcx", "r11", "memory");
  return number;
}

/* A child that shares our memory; we stand still until it has called execve or ended. It runs the
 * function, which must not return, on the stack that ends there (a multiple of 16). */
static inline long start_child(unsigned long flags, void* stack_end, void (*function)(void*),
                               void* argument) {
  long result = SYS_clone;
  register long no_thread_area __asm__("r8") = 0;
  register void (*entry)(void*) __asm__("r12") = function;
  register void* handed_on __asm__("r13") = argument;
  __asm__ volatile(
      "xor %%r10d, %%r10d\n\t"
      "syscall\n\t"
      "test %%rax, %%rax\n\t"
      "jnz 1f\n\t"
      "mov %%r13, %%rdi\n\t"
      "call *%%r12\n\t"
      "hlt\n"
      "1:"
      : "+a"(result)
      : "D"(flags), "S"(stack_end), "d"(0), "r"(no_thread_area), "r"(entry), "r"(handed_on)
      : "rcx", "r10", "r11", "memory");
  return result;
}

/* The kernel begins a program at _start, with number of arguments, arguments, NULL, environment,
 * NULL on the stack. */
#define PROGRAM_BEGINS_WITH(function) \
  __asm__(                            \
      ".text\n"                       \
      ".globl _start\n"               \
      ".type _start, @function\n"     \
      "_start:\n\t"                   \
      "endbr64\n\t"                   \
      "xor %ebp, %ebp\n\t"            \
      "mov %rsp, %rdi\n\t"            \
      "and $-16, %rsp\n\t"            \
      "call " #function               \
      "\n\t"                          \
      "hlt\n")

#endif
