// What is wrong with a message file: read with the parser that makes records of it, so that what is
// told here is what a record would lack.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace results {

// A line for each fault, such as "line 12: <errcode>: Unrecognized identifier"; a fault of the file
// as a whole, or what it lacks, has no number. Nothing when a record can be made of every outcome.
// Texts of the file come back as they stand: escape them before they are shown.
std::vector<std::string> message_file_faults(const std::filesystem::path& file);

// The same of a file's text.
std::vector<std::string> message_text_faults(std::string text);

}  // namespace results
