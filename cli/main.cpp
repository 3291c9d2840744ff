#include "cli/commands.h"

int main(int argc, char** argv) { return cli::run_program(argc, argv); }
