// The machine type: four characters that name a server's model, from the SMBIOS product name.
#pragma once

#include <string>
#include <vector>

#include "platform/smbios/smbios.h"

// Writes the machine type of this machine to *machineType: "0000" when SMBIOS could not be read
// or has no product name, empty when the product name holds none. Left alone when the SMBIOS
// library cannot be opened. The status code is 3 on every path (kept on purpose; the outcome is
// in the string). Throws std::out_of_range when the product name's only hyphen is its last
// character.
__attribute__((visibility("default"))) NKVRHVX20::TStatus GetMachineType(std::string* machine_type);

// Splits a text into the tokens before the separator and then before each NUL. A token is
// delivered only when its terminator lies before text + length - 2, so the last string of a
// string set whose length counts up to the final NUL is not (kept on purpose).
__attribute__((visibility("default"))) std::vector<std::string> MultiStringTok(char* text,
                                                                               unsigned long length,
                                                                               char separator);
