// Where the command finds its data and libraries.
//
// The data folder is share beside the program's own folder, or the one that --data names; it
// holds hddtest/hddtest.msg.xml and hddtest/hddtest.reg. Provider libraries are in lib beside the
// program's folder, else in the plug-in folder that the build was configured with.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace cli {

struct Places {
  std::filesystem::path start{};  // the working directory that the command was called in
  std::filesystem::path data{};
  std::filesystem::path message_file{};
  std::filesystem::path registration{};
  std::vector<std::filesystem::path> libraries{};
};

// data: the argument of --data, empty without. Throws CommandFailure when the program's own place
// cannot be told.
Places find_places(const std::string& data);

// A path of the command line, which is relative to the folder that the command was called in.
std::filesystem::path resolve(const Places& places, const std::string& path);

// Makes the data folder the working directory, since the module reads its message file below
// that. Throws CommandFailure when there is no such folder.
void enter_data_folder(const Places& places);

// Nothing, or why the file cannot be read (no such file, no regular file, not allowed).
std::string reading_fault(const std::filesystem::path& file);

// The file that the core log goes to, "-" for standard error: HVX_LOG_FILE, else the default.
std::string log_file(const Places& places);

// Whether HVX_LOG_FILE names it.
bool is_log_file_chosen();

// Adds /usr/sbin and /sbin to PATH. Drive tools are there, but the PATH of users often lacks these
// folders, and the shell that the module starts looks nowhere else. Call it before threads start
// and libraries are loaded.
void extend_program_path();

}  // namespace cli
