// The machine types on which the self-test is not offered. The codes are made up: they stand for
// the models of a distributor whose drives are tested by other means.
//
// A distributor replaces them by those of its own models: exactly four decimal digits each, as the
// machine's product name or its BIOS version gives them. If their number changes, so does the one
// that classification_test.cpp expects.
#pragma once

#include <array>

namespace discovery {

inline constexpr auto excluded_machine_types = std::to_array<const char*>({
    "0136", "0185", "0214", "0260", "0382", "0414", "0436", "0454", "0551", "0753", "0780", "0854",
    "1232", "1273", "1416", "1555", "1708", "1795", "1946", "1961", "1989", "1990", "2053", "2088",
    "2149", "2157", "2310", "2393", "2420", "2634", "2835", "2912", "2975", "3187", "3244", "3650",
    "3859", "3873", "3876", "3960", "4283", "4334", "4508", "4536", "4988", "5024", "5068", "5129",
    "5187", "5202", "5389", "5427", "5464", "5656", "5721", "5780", "6016", "6159", "6227", "6274",
    "6441", "6622", "6637", "6672", "7125", "7553", "7776", "7921", "8078", "8148", "8159", "8327",
    "8417", "8599", "8628", "9125", "9171", "9297", "9817", "9907", "9920",
});

}  // namespace discovery
