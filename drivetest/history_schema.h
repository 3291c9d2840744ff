// The tables of the history file, and how an older file comes to have them. docs/history.md is for
// those who read the file with the shell of SQLite.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "drivetest/database.h"

namespace drivetest {

// Step number N, counted from one, makes schema version N of version N - 1. A step that was
// released is never changed: what is to be different comes with a new one at the end.
std::span<const std::string_view> schema_steps();

std::int64_t schema_version(Database& database);

// Does the steps that the file has not had yet, each in a transaction. Needs a version that is not
// newer than the steps.
void bring_up_to_date(Database& database, std::span<const std::string_view> steps);

// Indexes without which it only takes longer to look tests up. They are no part of a version: a
// hddtest that does not know them keeps them in step all the same.
bool lacks_indexes(Database& database);
void make_indexes(Database& database);

// A cheap look at a file with all steps: throws DatabaseError, as damage, if it is none of ours or
// lacks a table. It ignores what an administrator has added, such as a view.
void expect_tables(Database& database);

}  // namespace drivetest
