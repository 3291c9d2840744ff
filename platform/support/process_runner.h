// Runs programs; internal to the support library, which offers it as TOSSpecific::SpawnProcess.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace NKVRHVX20 {

// More output than this is taken for a program that does not end.
constexpr std::size_t kOutputLimit = std::size_t{256} << 20;

// Runs the program and replaces output by what it wrote to its standard output; returns its
// exit code, or -1 when it did not end by exiting. With errors it sets these to the first 64 KiB
// that the program wrote to its standard error, which else goes nowhere. Blocks for up to
// timeoutSeconds, and a second more when killed processes are slow to go.
int run_program(const std::string& program, const std::vector<std::string>& arguments,
                std::string& output, int timeout_seconds, std::string* errors = nullptr);

}  // namespace NKVRHVX20
