// Looks at drives that know which of them claim to be one and the same.
#pragma once

#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "drivetest/tools.h"

namespace cli {

// Drives that claim to be one and the same are known by their places, wherever they are looked at.
class DrivesApart : public drivetest::DriveAccess {
 public:
  // From now on the drive is known by its place, whatever type says how it is reached; whether that
  // is new to the caller. A drive that comes to the place later and claims to be another one is not
  // known by it. A silent drive is taken for the next one that says at this place who it is.
  bool keep_apart(const drivetest::Drive& drive);
  bool keep_apart(const drivetest::Place& place);
  // Whether the drive is known by its place. A drive that does not say who it is, and a place, are
  // taken for any drive that was kept apart there.
  bool is_apart(const drivetest::Drive& drive);
  bool is_apart(const drivetest::Place& place);

  // Who knows the name of a drive that does not tell it. Several threads may call it at once.
  using NameOf = std::function<std::string(const drivetest::Drive&)>;
  // Whether drives were known by their places that claim to be this one. Where the other one has
  // gone, nobody else can tell which one is left.
  using WasApart = std::function<bool(const drivetest::Drive&)>;
  DrivesApart(NameOf name_of, WasApart was_apart)
      : name_of_(std::move(name_of)), was_apart_(std::move(was_apart)) {}

  drivetest::Look look(const drivetest::Place& place, bool wake) override;
  drivetest::ToolReply start(const drivetest::Drive& drive, drivetest::TestKind kind) override {
    return tools_.start(drive, kind);
  }
  drivetest::ToolReply start_in_doubt(const drivetest::Drive& drive,
                                      drivetest::TestKind kind) override {
    return tools_.start_in_doubt(drive, kind);
  }
  drivetest::ToolReply stop(const drivetest::Drive& drive) override { return tools_.stop(drive); }
  drivetest::ToolOutput scan() { return tools_.scan(); }

 private:
  bool is_known(const drivetest::Drive& drive) const;

  drivetest::Tools tools_;
  NameOf name_of_;
  WasApart was_apart_;
  std::mutex lock_;
  std::set<std::string> apart_;  // by Drive::identity()
  std::set<std::string> told_;   // the places that a caller knows of
};

}  // namespace cli
