// The machine types on which the self-test is not offered. The codes are made up: they stand for
// the models of a distributor whose drives are tested by other means. No known machine bears one of
// them as its type or as its BIOS version, so that nobody's drives are left out by chance.
//
// A distributor replaces them by those of its own models: exactly four decimal digits each, as the
// machine's product name or its BIOS version gives them.
#pragma once

#include <array>

namespace discovery {

inline constexpr auto kExcludedMachineTypes = std::to_array<const char*>({
    "0042", "0069", "0136", "0189", "0190", "0259", "0260", "0343", "0357", "0372", "0453", "0475",
    "0487", "0565", "0639", "0672", "0679", "0699", "0759", "0762", "0774", "0818", "0843", "0887",
    "0932", "0946", "0980", "9050", "9070", "9071", "9105", "9153", "9174", "9185", "9234", "9257",
    "9258", "9286", "9305", "9317", "9318", "9332", "9339", "9349", "9381", "9403", "9458", "9462",
    "9483", "9500", "9544", "9552", "9569", "9577", "9583", "9591", "9613", "9615", "9624", "9635",
    "9643", "9649", "9675", "9704", "9729", "9741", "9776", "9811", "9815", "9817", "9844", "9845",
    "9855", "9880", "9911", "9913", "9918", "9920", "9961", "9971", "9985",
});

}  // namespace discovery
