// Prints the excluded machine types, one to a line, for tests and the disk lab.
#include <cstdio>

#include "discovery/excluded_machine_types.h"

int main() {
  for (const char* const type : discovery::kExcludedMachineTypes) std::puts(type);
}
