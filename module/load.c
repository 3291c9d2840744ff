/* Loads a library as an object manager would and says why it could not. */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv) {
  if (argc == 2 && dlopen(argv[1], RTLD_LAZY | RTLD_GLOBAL)) {
    puts("loaded");
    return 0;
  }
  puts(argc == 2 ? dlerror() : "usage: load LIBRARY");
  return 1;
}
