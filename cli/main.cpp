// The program: what the command line asks for, and what is said where there is no memory to say
// more.
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "cli/commands.h"
#include "cli/exit_status.h"

namespace {

void tell_of_lost_memory() {
  constexpr std::string_view kWords = "hddtest: out of memory\n";
  const ssize_t written = write(STDERR_FILENO, kWords.data(), kWords.size());
  static_cast<void>(written);
}

// Called where an exception has nobody who catches it, such as one of a thread.
[[noreturn]] void terminate() {
  try {
    if (const std::exception_ptr exception = std::current_exception())
      std::rethrow_exception(exception);
  } catch (const std::bad_alloc&) {
    tell_of_lost_memory();
    _exit(cli::kStatusCannot);
  } catch (...) {
    // A defect: the kernel shall keep its trace.
  }
  std::abort();
}

}  // namespace

int main(int argc, char** argv) {
  std::set_terminate(terminate);
  try {
    return cli::run_command_line(argc, argv);
  } catch (const std::bad_alloc&) {
    tell_of_lost_memory();
    return cli::kStatusCannot;
  }
}
